// The conversation with the program under check: what is sent to it and what it says. Its reports are read by
// the driver's own report parser, so that the router model (router.h) shows what the driver would show.
#pragma once

#include "child.h"
#include "message.h"

#include <chrono>
#include <functional>
#include <map>
#include <string>
#include <string_view>

using check_clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds confirmation_time{1000}; // the driver's, counted from the last byte sent

// What is wrong with a kind of line or report: how often, and the first one.
struct finding {
    unsigned count = 0;
    std::string first;
};

struct conversation {
    std::string program;
    std::string item;
    std::chrono::milliseconds patience{5000}; // longest wait for anything but a confirmation
    child_process child;

    std::string to_send;
    std::string output_line; // lines and the report that have not ended yet
    std::string log_line;
    TavrixAPIRouterMessage report;
    check_clock::time_point last_heard; // when it last wrote anything

    // Of all children of this conversation together:
    std::map<std::string, unsigned> reports; // complete ones the driver would look at, by command
    std::map<std::string, std::string> info; // the fields of the last "info"
    unsigned routing_reports = 0;            // those that report the source of an output
    unsigned log_lines = 0;
    finding unframed;        // reports without the blank line at their end
    finding wrong_type;      // reports of another type than "message"
    finding stray_output;    // lines on standard output that belong to no report
    finding untagged_log;    // log lines without a known tag
    finding report_in_log;   // report lines on standard error
    std::string probe;       // what a "report" was answered for, "outputs" or "inputs"; empty: nothing
    int obedient_output = 0; // 0-based, the first output that confirms takes
};

// Starts the program. 0 or an errno value.
int start_program(conversation& talk);

// Queues a message; it is written while the conversation waits for something.
void send_message(conversation& talk, std::string_view command, std::string_view type,
                  const std::map<std::string, std::string>& fields);

// Sends, listens and looks for the child's end until `condition` holds (true) or `longest` has passed or
// nothing more can come (false, unless it holds then).
bool wait_for(conversation& talk, std::chrono::milliseconds longest, const std::function<bool()>& condition);

// Listens until the program has been silent for `silence`, but not for ever.
void wait_for_silence(conversation& talk, std::chrono::milliseconds silence);

// Writes all that is queued. False when the program does not read it in time.
bool send_all(conversation& talk);

// To be called when nothing more can come: notes a report that was begun and not ended.
void note_cut_off_report(conversation& talk);

// "it ended with exit code 1", or "no answer within 5 s" of the conversation's patience.
std::string why_nothing_came(conversation& talk);

// `text` within quotation marks, on one line, cut when it is long.
std::string in_quotes(std::string_view text);
