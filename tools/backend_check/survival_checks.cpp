#include "checks.h"
#include "router.h"
#include "taking.h"

namespace {

constexpr std::size_t long_value_bytes = 100000;
constexpr std::chrono::milliseconds digesting_time{300}; // for a program that cannot be asked

// True when the program, after what it has just been sent, still runs and answers what it could answer
// before.
bool still_answers(conversation& talk) {
    if (!talk.probe.empty())
        return answers_report(talk, talk.probe);
    wait_for(talk, digesting_time, [&] { return child_has_ended(talk.child); });
    return !child_has_ended(talk.child);
}

check_outcome survived(conversation& talk) {
    if (!still_answers(talk))
        return failed(why_nothing_came(talk));
    return passed(talk.probe.empty() ? "it runs, and answers as little as before" : "");
}

void send_take_text(conversation& talk, const std::string& input, const std::string& output) {
    send_message(talk, "route output", "command",
                 {{"queue", "add"}, {"from input", input}, {"to output", output}});
    send_message(talk, "route output", "command", {{"queue", "flush"}});
}

// The sizes the driver knows are the first numbers beyond the router.
void send_output_out_of_range(conversation& talk) {
    for (const int output : {-1, static_cast<int>(output_count), 2000000000})
        send_take_text(talk, "0", std::to_string(output));
}

void send_input_out_of_range(conversation& talk) {
    for (const int input : {static_cast<int>(input_count), 2000000000})
        send_take_text(talk, std::to_string(input), std::to_string(talk.obedient_output));
}

void send_unreadable_numbers(conversation& talk) {
    for (const char* number : {"", "x", "3x", "99999999999999999999999"}) {
        send_take_text(talk, number, std::to_string(talk.obedient_output));
        send_take_text(talk, "0", number);
    }
}

void send_take_without_fields(conversation& talk) {
    send_message(talk, "route output", "command", {});
    send_message(talk, "route output", "command", {{"queue", "add"}});
}

void send_unknown_command(conversation& talk) {
    send_message(talk, "make coffee", "command", {{"sugar", "2"}});
}

void send_line_without_equals(conversation& talk) {
    talk.to_send += "this line is no field\n\n";
}

void send_setting(conversation& talk) {
    send_message(talk, "set", "message", {{"name", "a setting nobody knows"}, {"value", "line\nline"}});
}

// A type alone makes no message. It may stay and spoil the next one, which therefore is none that matters.
void send_type_alone(conversation& talk) {
    send_message(talk, "", "command", {});
    send_setting(talk);
}

void send_long_value(conversation& talk) {
    send_message(talk, "set", "message", {{"name", "long"}, {"value", std::string(long_value_bytes, '7')}});
}

void send_binary_bytes(conversation& talk) {
    std::string bytes;
    for (int byte = 0; byte < 256; ++byte)
        if (byte != '\n')
            bytes += static_cast<char>(byte);
    send_message(talk, bytes, bytes, {{"binary", bytes}});
    send_message(talk, "set", "message", {{"name", bytes}, {"value", bytes}});
}

// Names stay what they are: the ones it reported are sent back, beside a property that nobody knows.
void send_names(conversation& talk) {
    std::map<std::string, std::string> fields = {{"output.0.unheard of", "1"},
                                                 {"input.99999.name", "beyond"}};
    if (!router_outputs.empty() && !router_outputs.front().name.empty())
        fields["output.0.name"] = router_outputs.front().name;
    if (!input_names.empty() && !input_names.front().empty())
        fields["input.0.name"] = input_names.front();
    send_message(talk, "router set", "command", fields);
}

// A report that names an output's routing ends the waiting of a take on it, whatever the take was.
check_outcome keeps_names_apart(conversation& talk) {
    const unsigned before = talk.routing_reports;
    send_names(talk);
    wait_for(talk, digesting_time, [&] { return talk.routing_reports > before; });
    if (talk.routing_reports == before)
        return passed();
    return failed("new names were answered with the routing of outputs");
}

} // namespace

void add_survival_checks(std::vector<check>& checks) {
    const auto add = [&](const char* name, void (*send)(conversation&)) {
        checks.push_back({name, [send](conversation& talk) {
                              send(talk);
                              return survived(talk);
                          }});
    };
    add("accepts router set", send_names);
    checks.push_back({"keeps routing out of reports about names", keeps_names_apart, true});
    add("accepts set", send_setting);
    add("survives takes of outputs out of range", send_output_out_of_range);
    add("survives takes from inputs out of range", send_input_out_of_range);
    add("survives takes with unreadable numbers", send_unreadable_numbers);
    add("survives takes without their fields", send_take_without_fields);
    add("survives an unknown command", send_unknown_command);
    add("survives a line without \"=\"", send_line_without_equals);
    add("survives a message with only a type", send_type_alone);
    add("survives a value of 100000 bytes", send_long_value);
    add("survives binary bytes", send_binary_bytes);
}
