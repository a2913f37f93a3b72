// What a backend tells the driver: reports to be sent with endpoint_send_message(). Inputs and outputs are
// numbered from 0.
#pragma once

#include "endpoint_requests.h"

// A report without fields yet; `command` is "info", "inputs", "outputs", "link" or "refused".
TavrixAPIRouterMessage endpoint_report(const std::string& command);

struct endpoint_size {
    int inputs = 0;
    int outputs = 0;
    bool split_levels = false; // breakaway: video and audio of an output are switched separately
};

// Must be sent before all other reports, and again when the size changes. `whole_salvos`: the driver may send
// all takes of a batch in one message.
TavrixAPIRouterMessage info_report(const endpoint_size& size, bool whole_salvos);

// Each adds one field to an "inputs" or "outputs" report.
void add_input(TavrixAPIRouterMessage& report, int input, const std::string& property,
               const std::string& value);
void add_output(TavrixAPIRouterMessage& report, int output, const std::string& property,
                const std::string& value);

// The source of an output: a number, no_source or unknown_source.
void add_source(TavrixAPIRouterMessage& report, int output, endpoint_level level, int source);

// Says whether the router can be reached, and if not, why.
TavrixAPIRouterMessage link_report(bool is_up, const std::string& text);

// Says that the router did not do `take`, and why. The source that the output still has is not part of it:
// report it with "outputs", after this report.
TavrixAPIRouterMessage refused_report(const endpoint_take& take, const std::string& text);
