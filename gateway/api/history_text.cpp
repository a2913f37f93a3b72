#include "history_text.h"

#include "plain_text.h"
#include "time_text.h"

namespace gateway {

namespace {

json number_or_null(std::int64_t value, std::int64_t none) {
    return value == none ? json(nullptr) : json(value);
}

json source_of(std::string_view text) {
    const auto number = number_of_digits<int>(text);
    return number ? json(*number) : json(nullptr);
}

// Sources as source_text() wrote them; other texts as they are.
json shown_json(const history_entry& entry, const std::string& text) {
    if (entry.kind != entry_kind::take)
        return text;
    if (text.empty())
        return nullptr;
    const std::size_t comma = text.find(',');
    if (comma == std::string::npos)
        return {{"all", source_of(text)}};
    const std::string_view both = text;
    return {{"video", source_of(both.substr(0, comma))}, {"audio", source_of(both.substr(comma + 1))}};
}

json time_or_null(std::int64_t us) {
    return us == 0 ? json(nullptr) : json(rfc3339_of_microseconds(us));
}

std::string csv_cell(const json& value) {
    if (value.is_null())
        return "";
    if (!value.is_string())
        return value.dump();
    std::string text = json::parse(json_text(value)).get<std::string>(); // UTF-8 by now
    if (!text.empty() && std::string_view("=+-@\t\r").find(text[0]) != std::string_view::npos)
        text.insert(text.begin(), '\'');
    if (text.find_first_of("\",\r\n") == std::string::npos)
        return text;
    std::string quoted = "\"";
    for (const char letter : text)
        quoted += letter == '"' ? std::string("\"\"") : std::string(1, letter);
    return quoted + '"';
}

} // namespace

json entry_json(const history_entry& entry) {
    return {{"id", entry.id},
            {"time", rfc3339_of_microseconds(entry.time_us)},
            {"kind", entry_kind_word(entry.kind)},
            {"router", entry.router},
            {"output", number_or_null(entry.output, 0)},
            {"input", number_or_null(entry.input, 0)},
            {"level", entry.level},
            {"by", entry.by},
            {"through", entry.through},
            {"claims", entry.claims},
            {"user", number_or_null(entry.user, -1)},
            {"process", number_or_null(entry.process, 0)},
            {"address", entry.address},
            {"before", shown_json(entry, entry.before)},
            {"after", shown_json(entry, entry.after)},
            {"result", entry.result},
            {"reason", entry.reason},
            {"milliseconds", number_or_null(entry.milliseconds, -1)},
            {"count", entry.count},
            {"until", time_or_null(entry.until_us)},
            {"epoch", entry.epoch},
            {"number", number_or_null(entry.number, 0)},
            {"site", entry.site}};
}

std::string history_json_text(const std::vector<history_entry>& entries) {
    std::string text = "{\"history\":[";
    for (const history_entry& entry : entries) {
        if (text.back() != '[')
            text += ',';
        text += json_text(entry_json(entry));
    }
    return text + "]}";
}

std::string history_csv_text(const std::vector<history_entry>& entries) {
    std::string text;
    const json names = entry_json({});
    for (const auto& [name, value] : names.items())
        text += (text.empty() ? "" : ",") + name;
    text += "\r\n";
    for (const history_entry& entry : entries) {
        json row = entry_json(entry);
        if (entry.kind == entry_kind::take) { // a cell has one text
            row["before"] = entry.before;
            row["after"] = entry.after;
        }
        bool first = true;
        for (const auto& [name, value] : row.items()) {
            text += std::exchange(first, false) ? "" : ",";
            text += csv_cell(value);
        }
        text += "\r\n";
    }
    return text;
}

} // namespace gateway
