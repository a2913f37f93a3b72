// The report whose lines are coming in. It is what a TavrixAPIRouterMessage is to a backend program, but its
// fields are kept in one text, in the order of their lines, because a full report of a large router has
// thousands.
#pragma once

#include <string>
#include <string_view>

// Adds what one non-blank line (without its line feed) carries, as parse_router_message_line does.
void add_report_line(std::string_view line);

// True when command, error and fields are all empty.
bool incoming_report_empty();

// Forgets all of it.
void clear_incoming_report();

const std::string& incoming_command();
const std::string& incoming_type();

// The value of a field; empty when there is no field of that name. Valid until the next line is added.
std::string_view incoming_field(std::string_view name);

// Calls `use` for each field in the order of the names' bytes; the lines of one name are joined to one value.
void for_each_incoming_field(void (*use)(std::string_view name, std::string_view value));
