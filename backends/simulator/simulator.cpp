#include "simulator.h"

namespace {

void show_routing(simulator& simulator, int output) {
    const simulated_output& routed = simulator.router.outputs[static_cast<std::size_t>(output)];
    show_source(simulator.driver, output, endpoint_level::video, routed.video_input);
    show_source(simulator.driver, output, endpoint_level::audio, routed.audio_input);
}

void set_property(simulator& simulator, const endpoint_property& property) {
    if (property.name != "name") {
        add_log_line(simulator.driver.log, "NOTE",
                     (property.of_output ? "output " : "input ") + std::to_string(property.number + 1) +
                         ": property " + endpoint_quoted(property.name) + " is ignored");
        return;
    }
    const auto number = static_cast<std::size_t>(property.number);
    std::string& name =
        property.of_output ? simulator.router.outputs[number].name : simulator.router.input_names[number];
    simulator.router_changed |= name != property.value;
    name = property.value;
    (property.of_output ? show_output : show_input)(simulator.driver, property.number, "name", name);
}

} // namespace

void announce_router(simulator& simulator) {
    const simulated_router& router = simulator.router;
    driver_side& driver = simulator.driver;
    driver.state = router_state::ready;
    driver.whole_salvos = simulator.settings.whole_salvos;
    announce_size(driver, {static_cast<int>(router.input_names.size()),
                           static_cast<int>(router.outputs.size()), router.split_levels});
    for (int input = 0; input < driver.size.inputs; ++input) {
        show_input(driver, input, "name", router.input_names[static_cast<std::size_t>(input)]);
    }
    for (int output = 0; output < driver.size.outputs; ++output) {
        show_output(driver, output, "name", router.outputs[static_cast<std::size_t>(output)].name);
        show_routing(simulator, output);
    }
    report_news(driver);
    report_link(driver, true, "simulated");
}

void handle_message(simulator& simulator, const TavrixAPIRouterMessage& message, std::uint64_t now) {
    driver_side& driver = simulator.driver;
    protocol_requests requests;
    requests.switch_takes = [&](const endpoint_takes& takes, std::uint64_t expires_us) {
        switch_takes(simulator, takes, expires_us, now);
    };
    requests.set_properties = [&](const std::vector<endpoint_property>& properties) {
        for (const endpoint_property& property : properties) {
            set_property(simulator, property);
        }
    };
    requests.change_setting = [&](const std::string& name, const std::string& value) {
        add_log_line(driver.log, "NOTE", "setting " + name + " = " + value);
        change_simulator_setting(simulator.settings, name, value, driver.log);
    };
    hear_driver(driver, message, now, requests);
}
