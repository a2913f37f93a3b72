#include "name_value.h"

#include "display_text.h"
#include "plain_text.h"

namespace {

bool is_router_property(std::string_view name) {
    for (const std::string_view prefix : {"input.", "output."}) {
        if (!name.starts_with(prefix))
            continue;
        name.remove_prefix(prefix.size());
        const auto dot = name.find('.');
        return dot != std::string_view::npos && dot + 1 < name.size() &&
               name.find('\n') == std::string_view::npos &&
               number_of_digits(name.substr(0, dot)).value_or(-1) >= 1;
    }
    return false;
}

} // namespace

std::optional<name_value> parse_name_value(std::string_view text, std::string* error) {
    const auto equals = text.find('=');
    if (equals == std::string_view::npos || equals == 0) {
        *error = in_quotes(cut_to(text, 60)) + " is not of the form NAME=VALUE";
        return std::nullopt;
    }
    return name_value{std::string(text.substr(0, equals)), std::string(text.substr(equals + 1))};
}

std::optional<name_value> parse_router_property(std::string_view text, std::string* error) {
    auto pair = parse_name_value(text, error);
    if (pair && !is_router_property(pair->name)) {
        *error =
            in_quotes(cut_to(pair->name, 60)) + " is not input.N.PROPERTY or output.N.PROPERTY, N from 1";
        return std::nullopt;
    }
    return pair;
}
