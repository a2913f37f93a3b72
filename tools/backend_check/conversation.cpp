#include "conversation.h"

#include "incoming_lines.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <poll.h>
#include <unistd.h>

namespace {

using std::chrono::milliseconds;

constexpr milliseconds look_period{10}; // how often the child is asked whether it has ended
constexpr milliseconds longest_chatter{2000};

void write_some(conversation& talk) {
    const ssize_t count = write(talk.child.input, talk.to_send.data(), talk.to_send.size());
    if (count > 0)
        talk.to_send.erase(0, static_cast<std::size_t>(count));
    else if (count < 0 && errno != EAGAIN && errno != EINTR)
        close_end(talk.child.input);
}

// Gives what the stream holds now to `hear_line`, line by line.
void read_some(conversation& talk, int& end, std::string& line,
               void (*hear_line)(conversation&, const std::string&)) {
    std::array<char, 65536> bytes{};
    const ssize_t count = read(end, bytes.data(), bytes.size());
    if (count == 0 || (count < 0 && errno != EAGAIN && errno != EINTR))
        close_end(end);
    if (count <= 0)
        return;
    talk.last_heard = check_clock::now();
    for (const char byte : std::string_view(bytes.data(), static_cast<std::size_t>(count))) {
        if (byte == '\n') {
            hear_line(talk, line);
            line.clear();
        } else if (byte != '\r') {
            line += byte;
        }
    }
}

void serve_once(conversation& talk, milliseconds longest) {
    child_process& child = talk.child;
    const bool writing = !talk.to_send.empty();
    std::array<pollfd, 3> waits = {
        {{writing ? child.input : -1, POLLOUT, 0}, {child.output, POLLIN, 0}, {child.log, POLLIN, 0}}};
    if (poll(waits.data(), waits.size(), static_cast<int>(longest.count())) <= 0)
        return;
    if (waits[0].revents != 0)
        write_some(talk);
    if (waits[1].revents != 0)
        read_some(talk, child.output, talk.output_line, hear_output_line);
    if (waits[2].revents != 0)
        read_some(talk, child.log, talk.log_line, hear_log_line);
}

bool nothing_more_can_come(conversation& talk) {
    return child_has_ended(talk.child) && talk.child.output < 0 && talk.child.log < 0;
}

} // namespace

int start_program(conversation& talk) {
    talk.to_send.clear();
    talk.output_line.clear();
    talk.log_line.clear();
    clear_router_message(talk.report);
    talk.last_heard = check_clock::now();
    return start_child(talk.child, talk.program, talk.item);
}

void send_message(conversation& talk, std::string_view command, std::string_view type,
                  const std::map<std::string, std::string>& fields) {
    encode_router_message({std::string(command), "", std::string(type), "", fields}, talk.to_send);
}

bool wait_for(conversation& talk, milliseconds longest, const std::function<bool()>& condition) {
    const auto deadline = check_clock::now() + longest;
    for (;;) {
        const bool last_look = nothing_more_can_come(talk);
        if (condition())
            return true;
        const auto left = std::chrono::ceil<milliseconds>(deadline - check_clock::now());
        if (last_look || left.count() <= 0)
            return false;
        serve_once(talk, std::min(left, look_period));
    }
}

void wait_for_silence(conversation& talk, milliseconds silence) {
    talk.last_heard = check_clock::now();
    wait_for(talk, longest_chatter, [&] { return check_clock::now() - talk.last_heard >= silence; });
}

bool send_all(conversation& talk) {
    return wait_for(talk, talk.patience, [&] { return talk.to_send.empty(); });
}

void note_cut_off_report(conversation& talk) {
    if (!talk.output_line.empty() || !router_message_empty(talk.report))
        add_finding(talk.unframed, in_quotes(talk.report.command) + " is never ended");
}

std::string why_nothing_came(conversation& talk) {
    if (child_has_ended(talk.child))
        return "it ended with " + how_it_ended(talk.child);
    char text[64];
    std::snprintf(text, sizeof text, "no answer within %g s",
                  static_cast<double>(talk.patience.count()) / 1000);
    return text;
}

std::string in_quotes(std::string_view text) {
    constexpr std::size_t longest = 60;
    std::string shown(text.substr(0, longest));
    std::replace_if(
        shown.begin(), shown.end(), [](char byte) { return byte < ' ' || byte > '~'; }, '?');
    return '"' + shown + (text.size() > longest ? "...\"" : "\"");
}
