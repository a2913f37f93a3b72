#include "pending.h"

#include "monotonic_us.h"
#include "takes.h"
#include "turns.h"
#include "vrdx.h"
#include "vrdx_assert.h"
#include "vrdx_trace.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <utility>

bool commands_reach_backend = false;
bool backend_gets_salvos = false;

namespace {

std::deque<route_request> requests;

constexpr std::string_view flush_message = "*COMMAND=route output\n*TYPE=command\nqueue=flush\n\n";

// Who asked for the requests that wait, in their order.
struct request_run {
    requester whose;
    std::size_t requests;
};
std::deque<request_run> request_runs;

waiting_batch collected;      // the batch that the planner is about to close
std::string line;             // the message to be moved next; empty: not encoded yet
std::uint64_t last_moved = 0; // monotonic_us

// Flushes between the buffer and the pipe: how many bytes were moved up to their end, and of which batch they
// are.
struct moved_flush {
    std::uint64_t end;
    std::uint64_t batch;
};
std::deque<moved_flush> moved_flushes;
std::uint64_t moved_bytes = 0;

bool same(requester one, requester other) {
    return one.connection == other.connection && one.user == other.user;
}

void append_number(std::string& text, std::int32_t number) {
    char digits[11];
    text.append(digits, std::to_chars(std::begin(digits), std::end(digits), number).ptr);
}

// As encode_router_message writes it; takes are many, and all of one form.
void encode_route_command(const route_command& command, std::string& text) {
    text += "*COMMAND=route output\n*TYPE=command\n";
    if (command.level != route_level::all)
        text += command.level == route_level::audio ? "control=audio\n" : "control=video\n";
    text += "from input=";
    if (command.input < 0)
        text += "none";
    else
        append_number(text, command.input);
    text += "\nqueue=add\nto output=";
    append_number(text, command.output); // also when the router has no such output
    text += "\n\n";
}

// Commands `first` to before `last`, to be done together.
void encode_salvo(const waiting_batch& batch, std::size_t first, std::size_t last, std::string& text) {
    text += "*COMMAND=route outputs\n*TYPE=command\n";
    if (batch.expires != 0)
        text += "expires=" + std::to_string(batch.expires / 1000) + "\n";
    char name[16];
    for (std::size_t i = first; i < last; ++i) {
        const route_command& command = batch.commands[i];
        std::snprintf(name, sizeof(name), "take.%04u=", static_cast<unsigned>(i - first) % 10000U);
        text += name;
        append_number(text, command.output);
        text += ' ';
        if (command.input < 0)
            text += "none";
        else
            append_number(text, command.input);
        if (command.level != route_level::all)
            text += command.level == route_level::audio ? " audio" : " video";
        text += '\n';
    }
    text += '\n';
}

void trace_sent_lines(std::string_view text) {
    std::size_t n = 0;
    for (std::size_t i = 0; i < text.size(); i = n + 1) {
        n = std::min(text.find('\n', i), text.size());
        if (n < i)
            vrdx_assert_failed("n >= i", __LINE__, "void router_send_message(const TavrixAPIRouterMessage&)");
        vrdx_trace_write({"STDIN: '", text.substr(i, n - i), "'\n"});
    }
}

void trace_salvo(const waiting_batch& batch) {
    for (std::size_t message = 0; message < batch_messages(batch); ++message) {
        std::string text;
        encode_salvo(batch, commands_in(batch, message), commands_in(batch, message + 1), text);
        trace_sent_lines(text);
    }
}

std::uint64_t queue_batch(waiting_batch batch) {
    if (batch.whose.connection != 0)
        hurry_lone_message();
    return add_batch(std::move(batch));
}

void queue_message(const TavrixAPIRouterMessage& message, requester whose, std::int32_t place) {
    waiting_batch batch;
    encode_router_message(message, batch.text);
    trace_sent_lines(batch.text);
    batch.whose = whose;
    batch.place = place;
    count_waiting_settings(whose, static_cast<std::ptrdiff_t>(batch.text.size()));
    queue_batch(std::move(batch));
}

} // namespace

const std::deque<route_request>& route_requests = requests;

void hurry_lone_message() {
    if (waiting_messages() == 0 && commands_reach_backend && monotonic_us() - last_moved >= message_period_us)
        vrdx_end_wait = true;
}

void queue_route_request(const route_request& request, requester whose) {
    requests.push_back(request);
    if (request_runs.empty() || !same(request_runs.back().whose, whose))
        request_runs.push_back({whose, 0});
    ++request_runs.back().requests;
    count_waiting_takes(whose, 1);
}

route_request next_route_request(requester* whose) {
    request_run& run = request_runs.front();
    *whose = run.whose;
    if (--run.requests == 0)
        request_runs.pop_front();
    count_waiting_takes(*whose, -1);
    const route_request request = requests.front();
    requests.pop_front();
    return request;
}

void send_route_command(const route_command& command, requester whose) {
    if (!backend_gets_salvos) {
        static std::string text;
        text.clear();
        encode_route_command(command, text);
        trace_sent_lines(text);
    }
    collected.commands.push_back(command);
    if (collected.shares.empty() || !same(collected.shares.back().whose, whose))
        collected.shares.push_back({whose, 0});
    ++collected.shares.back().commands;
    count_waiting_takes(whose, 1);
}

void send_take_commands(route_sources sources, std::int32_t output, bool breakaway, requester whose) {
    if (breakaway) {
        send_route_command({sources.video, output, route_level::video}, whose);
        send_route_command({sources.audio, output, route_level::audio}, whose);
    } else {
        send_route_command({sources.video, output, route_level::all}, whose);
    }
}

std::uint64_t send_route_flush(std::uint64_t expires) {
    collected.salvo = backend_gets_salvos;
    collected.expires = expires;
    if (collected.salvo)
        trace_salvo(collected);
    else
        trace_sent_lines(flush_message);
    if (collected.shares.size() == 1) {
        collected.whose = collected.shares.front().whose;
        collected.shares = {};
    }
    collected.commands.shrink_to_fit(); // it may wait for long
    return queue_batch(std::exchange(collected, {}));
}

void withdraw_route_command(std::uint64_t batch, std::int32_t output) {
    line.clear(); // it may be the next one
    withdraw_command(batch, output);
}

void router_send_message(const TavrixAPIRouterMessage& message) {
    queue_message(message, {}, -1);
}

void router_send_client_message(const TavrixAPIRouterMessage& message, requester whose, std::int32_t place) {
    // Counted first: each line feed repeats a name, and what a client can send would encode to more than any
    // memory holds.
    const std::size_t length = encoded_router_message_length(message);
    if (length <= backend_pipe_buffer_bytes)
        queue_message(message, whose, place);
    else
        std::fprintf(stderr, "Dropped '%s' of %zu bytes: too long for the backend's pipe\n",
                     message.command.c_str(), length);
}

const std::string* pending_line() {
    const waiting_batch* batch = batch_being_sent();
    if (batch == nullptr)
        return nullptr;
    if (batch->commands.empty())
        return &batch->text;
    if (line.empty()) {
        if (batch->salvo)
            encode_salvo(*batch, commands_in(*batch, batch->moved), commands_in(*batch, batch->moved + 1),
                         line);
        else if (batch->moved < batch->commands.size())
            encode_route_command(batch->commands[batch->moved], line);
        else
            line = flush_message;
    }
    return &line;
}

void pending_line_moved() {
    const waiting_batch& batch = *batch_being_sent();
    moved_bytes += pending_line()->size();
    if (!batch.commands.empty() && batch.moved == 0)
        takes_batch_begun(batch.number);
    if (!batch.commands.empty() && batch.moved + 1 == batch_messages(batch))
        moved_flushes.push_back({moved_bytes, batch.number});
    line.clear();
    last_moved = monotonic_us();
    batch_message_moved();
}

void pending_lines_written(std::size_t bytes_left) {
    while (!moved_flushes.empty() && moved_flushes.front().end + bytes_left <= moved_bytes) {
        const std::uint64_t batch = moved_flushes.front().batch;
        moved_flushes.pop_front();
        takes_flush_written(batch);
    }
}

void drop_pending_lines() {
    line.clear();
    moved_flushes.clear();
    drop_batches();
    takes_batches_dropped();
}

std::size_t pending_line_count() {
    return waiting_messages();
}
