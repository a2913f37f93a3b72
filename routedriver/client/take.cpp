#include "commands.h"

#include "boot_ms.h"
#include "plain_text.h"
#include "told_picture.h"
#include "vrdx.h"

#include <algorithm>
#include <limits>
#include <map>
#include <optional>

namespace {

constexpr std::size_t longest_id = 64;
constexpr std::size_t longest_by = 64;
constexpr std::uint64_t least_within_ms = 100;
constexpr std::uint64_t usual_within_ms = 3000;
constexpr std::uint64_t most_within_ms = 60000;
constexpr std::size_t most_takes = 1024; // of one packet

// The takes of one packet, until each is decided.
struct awaited_answer {
    requester whose;
    std::string id;
    std::vector<std::int32_t> outputs; // 0-based, as asked for
    std::vector<std::string> results;  // of each; empty: not decided
    std::size_t open = 0;
    bool all_confirmed = true;
};

std::map<std::uint64_t, awaited_answer> awaited; // by number
std::uint64_t answers_so_far = 0;
std::uint64_t being_asked =
    0; // of the packet that is being handled: if it is complete at once, it is written as the reply

// --- reading -----------------------------------------------------------------------------------------------

template<typename number>
std::optional<number> number_within(std::string_view text, number least, number most) {
    const std::optional<number> value = whole_number<number>(text);
    return value && *value >= least && *value <= most ? value : std::nullopt;
}

constexpr std::int32_t largest_number = 1000000; // of an output or input; none has so many

// "3" or "3,4", audio first, 0 for no source.
std::optional<route_sources> read_sources(std::string_view text) {
    const std::size_t comma = text.find(',');
    const auto audio = number_within(text.substr(0, comma), 0, largest_number);
    const auto video =
        comma == std::string_view::npos ? audio : number_within(text.substr(comma + 1), 0, largest_number);
    if (!audio || !video)
        return std::nullopt;
    return route_sources{*audio - 1, *video - 1};
}

std::optional<asked_take> read_take(std::string_view text) {
    const std::size_t equals = text.find('=');
    if (equals == std::string_view::npos)
        return std::nullopt;
    const auto output = number_within(text.substr(0, equals), 1, largest_number);
    const auto sources = read_sources(text.substr(equals + 1));
    if (!output || !sources)
        return std::nullopt;
    return asked_take{*output - 1, *sources, std::nullopt};
}

bool is_printable(std::string_view text) {
    return std::none_of(text.begin(), text.end(),
                        [](char c) { return static_cast<unsigned char>(c) < ' ' || c == '\x7f'; });
}

struct take_request {
    std::string id;
    take_terms terms;
    std::vector<asked_take> takes;
    std::uint64_t until_ms = std::numeric_limits<std::uint64_t>::max(); // boot_ms(); read later: refused
};

std::string read_takes(const comm_socket_v4_packet* pkt, take_request& request) {
    const unsigned count = comm_socket_v4_packet_get_argc(pkt);
    if (count == 0 || count > most_takes)
        return "a take has 1 to 1024 arguments OUT=IN or OUT=AUDIO,VIDEO";
    std::vector<std::int32_t> outputs;
    for (unsigned i = 0; i < count; ++i) {
        const std::optional<asked_take> take = read_take(comm_socket_v4_packet_get_argv(pkt, i));
        if (!take)
            return "a take is OUT=IN or OUT=AUDIO,VIDEO, in numbers; OUT from 1, IN from 0";
        request.takes.push_back(*take);
        outputs.push_back(take->output);
    }
    std::sort(outputs.begin(), outputs.end());
    const auto twice = std::adjacent_find(outputs.begin(), outputs.end());
    return twice != outputs.end() ? "output " + std::to_string(*twice + 1) + " is named twice" : "";
}

// What each output must show; it must be an output of one of the takes.
std::string read_expected(std::string_view text, take_request& request) {
    std::map<std::int32_t, asked_take*> takes;
    for (asked_take& take : request.takes)
        takes.emplace(take.output, &take);
    for (std::size_t at = text.find_first_not_of(' '); at != std::string_view::npos;
         at = text.find_first_not_of(' ', at)) {
        const std::size_t end = std::min(text.find(' ', at), text.size());
        const std::optional<asked_take> expected = read_take(text.substr(at, end - at));
        at = end;
        if (!expected)
            return "expect is a list of OUT=IN or OUT=AUDIO,VIDEO, in numbers";
        const auto take = takes.find(expected->output);
        if (take == takes.end())
            return "expect names output " + std::to_string(expected->output + 1) + ", which is not taken";
        if (take->second->expected)
            return "expect names output " + std::to_string(expected->output + 1) + " twice";
        take->second->expected = expected->sources;
    }
    return "";
}

// What is wrong with the entry; empty when nothing is.
std::string read_entry(std::string_view name, std::string_view value, take_request& request) {
    if (name == "id") {
        request.id = value;
        return value.empty() || value.size() > longest_id ? "id is 1 to 64 bytes" : "";
    }
    if (name == "by") {
        request.terms.by = value;
        return value.size() > longest_by || !is_printable(value) ? "by is at most 64 bytes of printable text"
                                                                 : "";
    }
    if (name == "within") {
        const auto within = number_within(value, least_within_ms, most_within_ms);
        request.terms.within_us = within.value_or(0) * 1000;
        return within ? "" : "within is a number of milliseconds, 100 to 60000";
    }
    if (name == "expect")
        return read_expected(value, request);
    if (name == "until") {
        const auto until = number_of_digits<std::uint64_t>(value);
        request.until_ms = until.value_or(0);
        return until ? "" : "until is a number of milliseconds since the machine was started";
    }
    // What drivers before `until` say, to the byte: what is asked without it is answered as ever.
    return "take has the entries id, within, by and expect";
}

// What is wrong with the request; empty when nothing is.
std::string read_request(const comm_socket_v4_packet* pkt, take_request& request) {
    request.terms.within_us = usual_within_ms * 1000;
    std::string wrong = read_takes(pkt, request);
    for_each_entry(pkt, [&](std::string_view name, std::string_view value) {
        if (wrong.empty())
            wrong = read_entry(name, value, request);
    });
    return wrong.empty() && request.id.empty() ? "take needs an id" : wrong;
}

// In the same form as the takes of "route".
void trace_takes(const comm_socket_v4_packet* pkt) {
    for (unsigned i = 0; i < comm_socket_v4_packet_get_argc(pkt); ++i) {
        const std::string_view take = comm_socket_v4_packet_get_argv(pkt, i);
        const std::size_t equals = take.find('=');
        vrdx_trace_write({"'", take.substr(0, equals), "' = '", take.substr(equals + 1), "'\n"});
    }
}

// --- answering ---------------------------------------------------------------------------------------------

void write_answer(comm_socket_v4_packet* packet, const awaited_answer& answer) {
    packet->result = answer.all_confirmed ? 0 : 1;
    comm_socket_v4_packet_begin_writing(packet, 0, "take", nullptr);
    comm_socket_v4_packet_write_argv_end(packet);
    comm_socket_v4_packet_write_nv_pair(packet, "id", answer.id);
    comm_socket_v4_packet_write_nv_pair(packet, "epoch", driver_epoch());
    for (std::size_t i = 0; i < answer.outputs.size(); ++i)
        comm_socket_v4_packet_write_nv_pair(packet, "output " + std::to_string(answer.outputs[i] + 1),
                                            answer.results[i]);
    comm_socket_v4_packet_write_end(packet);
}

} // namespace

void answer_decided_take(const decided_take& take) {
    const auto found = awaited.find(take.answer);
    if (found == awaited.end())
        return;
    awaited_answer& answer = found->second;
    std::string& result = answer.results[take.answer_index];
    result = take_result_word(take.result);
    if (!take.detail.empty())
        result.append(1, ' ').append(take.detail);
    answer.all_confirmed = answer.all_confirmed && take.result == take_result::confirmed;
    if (--answer.open > 0 || take.answer == being_asked)
        return;
    comm_socket_v4_packet packet;
    write_answer(&packet, answer);
    comm_socket_v4_send_late_reply(vrdx_comm_server, answer.whose.connection, packet.bytes);
    awaited.erase(found);
}

bool answer_take(comm_socket_v4_packet* pkt, comm_socket_v4_packet* respkt, requester client) {
    take_request request;
    postpone_auto_shutdown();
    const std::string wrong = read_request(pkt, request);
    if (!wrong.empty())
        return write_refusal(respkt, pkt, wrong);
    trace_takes(pkt);
    requester_asks(client);
    request.terms.whose = client;
    request.terms.too_late = boot_ms() > request.until_ms;
    request.terms.answer = being_asked = ++answers_so_far;
    awaited_answer& answer = awaited[being_asked];
    answer.whose = client;
    answer.id = request.id;
    answer.results.resize(request.takes.size());
    answer.open = request.takes.size();
    for (const asked_take& take : request.takes)
        answer.outputs.push_back(take.output);
    plan_route_changes(); // requests that came earlier are sent earlier
    ask_takes(request.takes, request.terms);
    const bool decided = answer.open == 0;
    if (decided) {
        write_answer(respkt, answer);
        awaited.erase(being_asked);
    }
    being_asked = 0;
    return decided;
}
