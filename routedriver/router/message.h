// The message that driver and backend exchange, and its text form.
//
// Text form: one line per part, "*COMMAND=", "*ERROR=", "*TYPE=", "*ID=", then "name=value" for each field,
// and a blank line at the end. A value of several lines becomes several lines of the same name.
#pragma once

#include <map>
#include <string>
#include <string_view>

struct TavrixAPIRouterMessage {
    std::string command; // the verb; empty: absent
    std::string error;   // error text; empty: absent
    std::string type;    // "command" for requests, "message" for reports and notifications; empty: absent
    std::string id;      // empty: absent; the driver neither sets nor reads it
    std::map<std::string, std::string> fields; // ordered by the bytes of the names
};

// Appends the text form of `message`, its closing blank line included, to `text`. Field names must hold
// neither "=" nor a line feed; nothing is escaped.
void encode_router_message(const TavrixAPIRouterMessage& message, std::string& text);

// The length of that text, in bytes.
std::size_t encoded_router_message_length(const TavrixAPIRouterMessage& message);

// Appends one field in text form. A line feed at the end of the value makes one more line "name=".
void encode_field(std::string_view name, std::string_view value, std::string& text);

// Adds to `message` what one received line says; the line is not blank and has no line feed. A line without
// "=" is ignored; a part that already holds text gets a line feed and the new value.
void parse_router_message_line(TavrixAPIRouterMessage& message, std::string_view line);

// Empties all five parts.
void clear_router_message(TavrixAPIRouterMessage& message);

// True when command, error and fields are all empty; type and id alone do not make a message.
bool router_message_empty(const TavrixAPIRouterMessage& message);
