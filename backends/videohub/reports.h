// What the driver is told about the router.
#pragma once

#include "conversation.h"

// The whole state: sizes, names, sources.
void announce_router(videohub_conversation& conversation);

void report_inputs(videohub_conversation& conversation);

// Names and sources of all outputs; an output whose take is still open keeps quiet about its source, because
// the driver takes what is reported for the confirmation.
void report_outputs(videohub_conversation& conversation);

void report_input_names(videohub_conversation& conversation, const std::vector<int>& inputs);
void report_output_names(videohub_conversation& conversation, const std::vector<int>& outputs);

// The sources of these outputs, as the router has told them.
void report_sources(videohub_conversation& conversation, const std::set<int>& outputs);
