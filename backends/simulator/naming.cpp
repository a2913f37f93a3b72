#include "naming.h"

#include "whole_number.h"

#include <optional>
#include <string_view>

namespace {

struct property_address {
    bool of_output = false; // else of an input
    int number = 0;
    std::string_view property;
};

// Reads "output.3.name"; the result refers to `name`.
std::optional<property_address> read_property_address(std::string_view name) {
    property_address address;
    address.of_output = name.starts_with("output.");
    if (!address.of_output && !name.starts_with("input.")) {
        return std::nullopt;
    }
    name.remove_prefix(name.find('.') + 1);
    const auto dot = name.find('.');
    const std::optional<int> number = whole_number(name.substr(0, dot));
    if (dot == std::string_view::npos || !number) {
        return std::nullopt;
    }
    address.number = *number;
    address.property = name.substr(dot + 1);
    return address;
}

// The name that `address` speaks of; null, with the reason logged, when there is none.
std::string* addressed_name(simulated_router& router, const property_address& address, reaction& reaction) {
    const std::string kind = address.of_output ? "output " : "input ";
    const bool exists =
        address.of_output ? output_exists(router, address.number) : input_exists(router, address.number);
    if (!exists) {
        warn(reaction, "property not set: there is no " + kind + shown_number(address.number));
        return nullptr;
    }
    if (address.property != "name") {
        add_log_line(reaction.log, "NOTE",
                     kind + shown_number(address.number) + ": property '" + std::string(address.property) +
                         "' is ignored");
        return nullptr;
    }
    const auto number = static_cast<std::size_t>(address.number);
    return address.of_output ? &router.outputs[number].name : &router.input_names[number];
}

void report_names(TavrixAPIRouterMessage&& report, reaction& reaction) {
    if (!report.fields.empty()) {
        reaction.reports.push_back(std::move(report));
    }
}

} // namespace

void set_properties(simulator& simulator, const TavrixAPIRouterMessage& message, reaction& reaction) {
    TavrixAPIRouterMessage inputs = empty_report("inputs");
    TavrixAPIRouterMessage outputs = empty_report("outputs");
    for (const auto& [key, value] : message.fields) {
        const auto address = read_property_address(key);
        if (!address) {
            warn(reaction, "router set of the unknown '" + key + "' skipped");
            continue;
        }
        std::string* const name = addressed_name(simulator.router, *address, reaction);
        if (name == nullptr) {
            continue;
        }
        reaction.router_changed |= *name != value;
        *name = value;
        if (address->of_output) {
            outputs.fields[output_name_field(address->number)] = value;
        } else {
            inputs.fields[input_name_field(address->number)] = value;
        }
    }
    report_names(std::move(inputs), reaction);
    report_names(std::move(outputs), reaction);
}
