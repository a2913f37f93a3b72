// What a backend tells the driver: reports to be sent with endpoint_send_message(). Inputs and outputs are
// numbered from 0.
#pragma once

#include "endpoint_requests.h"

// A report without fields yet; `command` is "info", "inputs", "outputs", "link" or "refused".
TavrixAPIRouterMessage endpoint_report(const std::string& command);

struct endpoint_size {
    int inputs = 0;
    int outputs = 0;
    bool split_levels = false; // video and audio of an output are taken apart
};

// Has to come before all other reports, and again when the size changes. `whole_salvos`: the driver may send
// all takes of a batch in one message.
TavrixAPIRouterMessage info_report(const endpoint_size& size, bool whole_salvos);

// Each adds one field to an "inputs" or "outputs" report.
void add_input(TavrixAPIRouterMessage& report, int input, const std::string& property,
               const std::string& value);
void add_output(TavrixAPIRouterMessage& report, int output, const std::string& property,
                const std::string& value);

// The source of an output: a number, no_source or unknown_source.
void add_source(TavrixAPIRouterMessage& report, int output, endpoint_level level, int source);

// Whether the router can be reached, and why not.
TavrixAPIRouterMessage link_report(bool is_up, const std::string& text);

// The router did not do `take`, and why. Shows nothing: the source that the output has kept is told by an
// "outputs" report, if at all behind this one.
TavrixAPIRouterMessage refused_report(const endpoint_take& take, const std::string& text);
