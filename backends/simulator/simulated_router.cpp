#include "simulated_router.h"

namespace {

std::string source_text(int input) {
    return input < 0 ? "none" : std::to_string(input);
}

void report_routing(const simulated_router& router, int output, TavrixAPIRouterMessage& report) {
    const simulated_output& routed = router.outputs[static_cast<std::size_t>(output)];
    const std::string prefix = "o" + std::to_string(output) + ".input.";
    if (router.split_levels) {
        report.fields[prefix + "audio"] = source_text(routed.audio_input);
        report.fields[prefix + "video"] = source_text(routed.video_input);
    } else {
        report.fields[prefix + "all"] = source_text(routed.video_input);
    }
}

} // namespace

simulated_router new_router(int inputs, int outputs, bool split_levels) {
    simulated_router router;
    router.split_levels = split_levels;
    for (int input = 0; input < inputs; ++input) {
        router.input_names.push_back("Input " + std::to_string(input + 1));
    }
    for (int output = 0; output < outputs; ++output) {
        const int source = output < inputs ? output : -1;
        router.outputs.push_back({source, source, "Output " + std::to_string(output + 1)});
    }
    return router;
}

bool execute_take(simulated_router& router, const crosspoint_take& take) {
    simulated_output& output = router.outputs[static_cast<std::size_t>(take.output)];
    const int video = take.level == take_level::audio ? output.video_input : take.input;
    const int audio = take.level == take_level::video ? output.audio_input : take.input;
    const bool changed = video != output.video_input || audio != output.audio_input;
    output.video_input = video;
    output.audio_input = audio;
    return changed;
}

bool input_exists(const simulated_router& router, int input) {
    return input >= 0 && static_cast<std::size_t>(input) < router.input_names.size();
}

bool output_exists(const simulated_router& router, int output) {
    return output >= 0 && static_cast<std::size_t>(output) < router.outputs.size();
}

TavrixAPIRouterMessage empty_report(const std::string& command) {
    TavrixAPIRouterMessage report;
    report.command = command;
    report.type = "message";
    return report;
}

std::string input_name_field(int input) {
    return "i" + std::to_string(input) + ".name";
}

std::string output_name_field(int output) {
    return "o" + std::to_string(output) + ".name";
}

TavrixAPIRouterMessage info_report(const simulated_router& router) {
    TavrixAPIRouterMessage report = empty_report("info");
    report.fields["inputs"] = std::to_string(router.input_names.size());
    report.fields["outputs"] = std::to_string(router.outputs.size());
    if (router.split_levels) {
        report.fields["output routing controls"] = "video,audio";
    }
    return report;
}

TavrixAPIRouterMessage inputs_report(const simulated_router& router) {
    TavrixAPIRouterMessage report = empty_report("inputs");
    int input = 0;
    for (const std::string& name : router.input_names) {
        report.fields[input_name_field(input++)] = name;
    }
    return report;
}

TavrixAPIRouterMessage outputs_report(const simulated_router& router) {
    TavrixAPIRouterMessage report = empty_report("outputs");
    int output = 0;
    for (const simulated_output& routed : router.outputs) {
        report.fields[output_name_field(output)] = routed.name;
        report_routing(router, output++, report);
    }
    return report;
}

TavrixAPIRouterMessage routing_report(const simulated_router& router, const std::set<int>& outputs) {
    TavrixAPIRouterMessage report = empty_report("outputs");
    for (const int output : outputs) {
        report_routing(router, output, report);
    }
    return report;
}
