#include "simulator.h"

void warn(reaction& reaction, const std::string& text) {
    add_log_line(reaction.log, "WARN", text);
}

const std::string& message_field(const TavrixAPIRouterMessage& message, const std::string& name) {
    static const std::string absent;
    const auto entry = message.fields.find(name);
    return entry == message.fields.end() ? absent : entry->second;
}

std::string shown_number(int number) {
    return std::to_string(static_cast<long>(number) + 1);
}
