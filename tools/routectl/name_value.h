// NAME=VALUE as people write it.
#pragma once

#include <optional>
#include <string>
#include <string_view>

struct name_value {
    std::string name; // not empty
    std::string value;
};

// Splits `text` at its first "=". Empty when there is none or nothing stands before it; *error then says so
// in one line.
std::optional<name_value> parse_name_value(std::string_view text, std::string* error);

// The same, for a router property: the name is input.N.PROPERTY or output.N.PROPERTY, N from 1.
std::optional<name_value> parse_router_property(std::string_view text, std::string* error);
