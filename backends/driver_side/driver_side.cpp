#include "driver_side.h"

#include <utility>

namespace {

constexpr std::size_t most_named_outputs = 8;

shown_port* port_at(std::vector<shown_port>& ports, int number) {
    const auto index = static_cast<std::size_t>(number);
    return number >= 0 && index < ports.size() ? &ports[index] : nullptr;
}

void add_sources(const driver_side& driver, int output, TavrixAPIRouterMessage& report) {
    const shown_port& port = driver.outputs[static_cast<std::size_t>(output)];
    if (!driver.size.split_levels) {
        add_source(report, output, endpoint_level::all, port.video);
        return;
    }
    add_source(report, output, endpoint_level::video, port.video);
    add_source(report, output, endpoint_level::audio, port.audio);
}

void send_report(driver_side& driver, TavrixAPIRouterMessage&& report) {
    if (!report.fields.empty()) {
        driver.reports.push_back(std::move(report));
    }
}

void report_inputs(driver_side& driver) {
    TavrixAPIRouterMessage report = endpoint_report("inputs");
    for (int input = 0; input < driver.size.inputs; ++input) {
        for (const auto& [property, value] : driver.inputs[static_cast<std::size_t>(input)].properties) {
            add_input(report, input, property, value);
        }
    }
    send_report(driver, std::move(report));
}

void report_outputs(driver_side& driver) {
    TavrixAPIRouterMessage report = endpoint_report("outputs");
    for (int output = 0; output < driver.size.outputs; ++output) {
        for (const auto& [property, value] : driver.outputs[static_cast<std::size_t>(output)].properties) {
            add_output(report, output, property, value);
        }
        if (driver.state == router_state::ready && !driver.awaited.contains(output)) {
            add_sources(driver, output, report);
        }
    }
    send_report(driver, std::move(report));
}

// What is wrong with `take` on this router; empty when nothing is.
std::string fault_of(const endpoint_take& take, const endpoint_size& size) {
    if (take.output >= size.outputs) {
        return "there is no output " + std::to_string(take.output + 1);
    }
    if (take.source >= size.inputs) {
        return "there is no input " + std::to_string(take.source + 1);
    }
    if (take.level != endpoint_level::all && !size.split_levels) {
        return "this router has no separate levels";
    }
    return "";
}

void switch_takes(driver_side& driver, const endpoint_takes& takes, std::uint64_t expires_us,
                  const protocol_requests& requests) {
    if (driver.state != router_state::ready) {
        refuse_takes(driver, takes, requests.why_not_ready());
        return;
    }
    endpoint_takes possible;
    for (const endpoint_take& take : takes) {
        const std::string fault = fault_of(take, driver.size);
        if (fault.empty()) {
            possible.push_back(take);
        } else {
            refuse_takes(driver, {take}, fault);
        }
    }
    requests.switch_takes(possible, expires_us);
}

void set_properties(driver_side& driver, const std::vector<endpoint_property>& properties,
                    const protocol_requests& requests) {
    if (driver.state != router_state::ready) {
        warn(driver, "names refused: " + requests.why_not_ready());
        return;
    }
    std::vector<endpoint_property> possible;
    for (const endpoint_property& property : properties) {
        if (property.number < (property.of_output ? driver.size.outputs : driver.size.inputs)) {
            possible.push_back(property);
        } else {
            warn(driver, std::string("property not set: there is no ") +
                             (property.of_output ? "output " : "input ") +
                             std::to_string(property.number + 1));
        }
    }
    requests.set_properties(possible);
}

} // namespace

void hear_driver(driver_side& driver, const TavrixAPIRouterMessage& message, std::uint64_t now,
                 const protocol_requests& requests) {
    endpoint_handlers handlers;
    handlers.switch_takes = [&](const endpoint_takes& takes, std::uint64_t expires_us) {
        switch_takes(driver, takes, expires_us, requests);
    };
    handlers.refuse_late = [&](const endpoint_takes& takes) { refuse_takes(driver, takes, "came too late"); };
    handlers.report_outputs = [&] { report_outputs(driver); };
    handlers.report_inputs = [&] { report_inputs(driver); };
    handlers.set_properties = [&](const auto& properties) { set_properties(driver, properties, requests); };
    handlers.change_setting = requests.change_setting;
    handlers.skipped = [&](const std::string& text) { warn(driver, text); };
    endpoint_dispatch(message, now, driver.collected, handlers);
    report_news(driver);
}

void announce_size(driver_side& driver, const endpoint_size& size) {
    driver.size = size;
    driver.inputs.assign(static_cast<std::size_t>(size.inputs), {});
    driver.outputs.assign(static_cast<std::size_t>(size.outputs), {});
    driver.untold.clear();
    driver.input_news = endpoint_report("inputs");
    driver.output_news = endpoint_report("outputs");
    driver.reports.push_back(info_report(size, driver.whole_salvos));
    for (int output = 0; driver.state != router_state::ready && output < size.outputs; ++output) {
        add_sources(driver, output, driver.output_news);
    }
}

void forget_router(driver_side& driver, router_state state) {
    report_news(driver);
    driver.state = state;
    driver.size = {};
    driver.inputs.clear();
    driver.outputs.clear();
    driver.untold.clear();
}

void show_input(driver_side& driver, int input, const std::string& property, const std::string& value) {
    if (shown_port* const port = port_at(driver.inputs, input)) {
        port->properties[property] = value;
        add_input(driver.input_news, input, property, value);
    }
}

void show_output(driver_side& driver, int output, const std::string& property, const std::string& value) {
    if (shown_port* const port = port_at(driver.outputs, output)) {
        port->properties[property] = value;
        add_output(driver.output_news, output, property, value);
    }
}

void show_source(driver_side& driver, int output, endpoint_level level, int source) {
    if (shown_port* const port = port_at(driver.outputs, output)) {
        port->video = level == endpoint_level::audio ? port->video : source;
        port->audio = level == endpoint_level::video ? port->audio : source;
        driver.untold.insert(output);
    }
}

void tell_source(driver_side& driver, int output) {
    if (port_at(driver.outputs, output) != nullptr) {
        driver.untold.insert(output);
    }
}

void report_news(driver_side& driver) {
    if (driver.state == router_state::ready) {
        std::erase_if(driver.untold, [&](int output) {
            const bool may_be_told = !driver.awaited.contains(output);
            if (may_be_told) {
                add_sources(driver, output, driver.output_news);
            }
            return may_be_told;
        });
    }
    send_report(driver, std::exchange(driver.input_news, endpoint_report("inputs")));
    send_report(driver, std::exchange(driver.output_news, endpoint_report("outputs")));
}

void refuse_takes(driver_side& driver, const endpoint_takes& takes, const std::string& why) {
    if (takes.empty()) {
        return;
    }
    warn(driver, "take to " + shown_outputs(outputs_of(takes)) + " refused: " + why);
    for (const endpoint_take& take : takes) {
        driver.reports.push_back(refused_report(take, why));
    }
}

void report_link(driver_side& driver, bool is_up, const std::string& text) {
    const std::string told = (is_up ? "up " : "down ") + text;
    if (driver.link_told != told) {
        driver.link_told = told;
        driver.reports.push_back(link_report(is_up, text));
    }
}

void warn(driver_side& driver, const std::string& text) {
    add_log_line(driver.log, "WARN", text);
}

std::string shown_outputs(const std::set<int>& outputs) {
    std::string text = outputs.size() == 1 ? "output " : "outputs ";
    std::size_t shown = 0;
    for (const int output : outputs) {
        if (shown == most_named_outputs) {
            return text + " and " + std::to_string(outputs.size() - shown) + " more";
        }
        text += (shown == 0 ? "" : ", ") + std::to_string(output + 1);
        ++shown;
    }
    return text;
}

std::set<int> outputs_of(const endpoint_takes& takes) {
    std::set<int> outputs;
    for (const endpoint_take& take : takes) {
        outputs.insert(take.output);
    }
    return outputs;
}
