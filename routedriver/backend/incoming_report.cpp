#include "incoming_report.h"

#include "backend.h"
#include "message.h"

#include <algorithm>
#include <vector>

namespace {

struct report_field {
    std::size_t name_at; // in `text`
    std::size_t name_length;
    std::size_t value_at;
    std::size_t value_length;
};

constexpr std::size_t kept_fields = 16384; // more than the largest router's full report has

TavrixAPIRouterMessage head; // all but the fields
std::string text;
std::vector<report_field> fields;
bool in_order = true; // the names ascend, so each occurs once

std::string_view name_of(const report_field& field) {
    return std::string_view(text).substr(field.name_at, field.name_length);
}

std::string_view value_of(const report_field& field) {
    return std::string_view(text).substr(field.value_at, field.value_length);
}

// One field in place of those from `first` to before `last`, all of one name: their values joined in the way
// in which messages are split into lines.
report_field joined(std::size_t first, std::size_t last) {
    std::string value;
    for (std::size_t i = first; i < last; ++i) {
        if (!value.empty())
            value += '\n';
        value += value_of(fields[i]);
    }
    const report_field whole{fields[first].name_at, fields[first].name_length, text.size(), value.size()};
    text += value;
    return whole;
}

void put_in_order() {
    if (in_order)
        return;
    std::stable_sort(fields.begin(), fields.end(), [](const report_field& one, const report_field& other) {
        return name_of(one) < name_of(other);
    });
    std::size_t kept = 0;
    for (std::size_t first = 0, last = 0; first < fields.size(); first = last) {
        while (last < fields.size() && name_of(fields[last]) == name_of(fields[first]))
            ++last;
        fields[kept++] = last - first == 1 ? fields[first] : joined(first, last);
    }
    fields.resize(kept);
    in_order = true;
}

bool is_part_of_head(std::string_view name) {
    return name.starts_with('*') &&
           (name == "*COMMAND" || name == "*ERROR" || name == "*TYPE" || name == "*ID");
}

} // namespace

void add_report_line(std::string_view line) {
    const std::size_t equals = line.find('=');
    if (equals == std::string_view::npos)
        return;
    const std::string_view name = line.substr(0, equals);
    if (is_part_of_head(name)) {
        parse_router_message_line(head, line);
        return;
    }
    in_order = in_order && (fields.empty() || name_of(fields.back()) < name);
    fields.push_back({text.size(), equals, text.size() + equals + 1, line.size() - equals - 1});
    text += line;
}

bool incoming_report_empty() {
    return router_message_empty(head) && fields.empty();
}

void clear_incoming_report() {
    clear_router_message(head);
    text.clear();
    fields.clear();
    in_order = true;
    if (text.capacity() > kept_text_capacity)
        text.shrink_to_fit();
    if (fields.capacity() > kept_fields)
        fields.shrink_to_fit();
}

const std::string& incoming_command() {
    return head.command;
}

const std::string& incoming_type() {
    return head.type;
}

std::string_view incoming_field(std::string_view name) {
    put_in_order();
    const auto found = std::lower_bound(
        fields.begin(), fields.end(), name,
        [](const report_field& field, std::string_view wanted) { return name_of(field) < wanted; });
    return found != fields.end() && name_of(*found) == name ? value_of(*found) : std::string_view();
}

void for_each_incoming_field(void (*use)(std::string_view name, std::string_view value)) {
    put_in_order();
    for (const report_field& field : fields)
        use(name_of(field), value_of(field));
}
