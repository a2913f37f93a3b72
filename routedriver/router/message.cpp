#include "message.h"

#include <algorithm>

namespace {

// The part of the message that lines beginning with "name=" carry; a field is created empty when it is new.
std::string& part_named(TavrixAPIRouterMessage& message, std::string_view name) {
    if (name.starts_with('*')) {
        if (name == "*COMMAND") {
            return message.command;
        }
        if (name == "*ERROR") {
            return message.error;
        }
        if (name == "*TYPE") {
            return message.type;
        }
        if (name == "*ID") {
            return message.id;
        }
    }
    // Senders write their fields in ascending order, so a new one nearly always belongs at the end.
    return message.fields.try_emplace(message.fields.end(), std::string(name))->second;
}

void encode_part(std::string_view name, std::string_view value, std::string& text) {
    if (!value.empty()) {
        encode_field(name, value, text);
    }
}

std::size_t encoded_field_length(std::string_view name, std::string_view value) {
    const auto lines = static_cast<std::size_t>(std::count(value.begin(), value.end(), '\n')) + 1;
    return lines * (name.size() + 1) + value.size() + 1;
}

std::size_t encoded_part_length(std::string_view name, std::string_view value) {
    return value.empty() ? 0 : encoded_field_length(name, value);
}

} // namespace

void encode_field(std::string_view name, std::string_view value, std::string& text) {
    text.append(name).push_back('=');
    for (auto feed = value.find('\n'); feed != std::string_view::npos; feed = value.find('\n')) {
        text.append(value.substr(0, feed + 1)).append(name).push_back('=');
        value.remove_prefix(feed + 1);
    }
    text.append(value).push_back('\n');
}

void encode_router_message(const TavrixAPIRouterMessage& message, std::string& text) {
    encode_part("*COMMAND", message.command, text);
    encode_part("*ERROR", message.error, text);
    encode_part("*TYPE", message.type, text);
    encode_part("*ID", message.id, text);
    for (const auto& [name, value] : message.fields) {
        encode_field(name, value, text);
    }
    text.push_back('\n');
}

std::size_t encoded_router_message_length(const TavrixAPIRouterMessage& message) {
    std::size_t length = 1;
    length += encoded_part_length("*COMMAND", message.command);
    length += encoded_part_length("*ERROR", message.error);
    length += encoded_part_length("*TYPE", message.type);
    length += encoded_part_length("*ID", message.id);
    for (const auto& [name, value] : message.fields) {
        length += encoded_field_length(name, value);
    }
    return length;
}

void parse_router_message_line(TavrixAPIRouterMessage& message, std::string_view line) {
    const auto equals = line.find('=');
    if (equals == std::string_view::npos) {
        return;
    }
    const std::string_view value = line.substr(equals + 1);
    std::string& part = part_named(message, line.substr(0, equals));
    if (part.empty()) {
        part = value;
    } else {
        part.append(1, '\n').append(value);
    }
}

void clear_router_message(TavrixAPIRouterMessage& message) {
    message.command.clear();
    message.error.clear();
    message.type.clear();
    message.id.clear();
    message.fields.clear();
}

bool router_message_empty(const TavrixAPIRouterMessage& message) {
    return message.command.empty() && message.error.empty() && message.fields.empty();
}
