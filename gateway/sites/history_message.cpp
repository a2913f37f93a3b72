#include "history_message.h"

#include "gateway/audit/epoch_number.h"
#include "json_members.h"
#include "subjects.h"

#include <utility>

namespace gateway {
namespace {

constexpr std::string_view subject_begin = "vr.", subject_end = ".history";

// What an entry has beside its place: the name in the message, and where it stands.
constexpr std::pair<const char*, std::string history_entry::*> texts[] = {
    {"level", &history_entry::level},     {"by", &history_entry::by},
    {"through", &history_entry::through}, {"claims", &history_entry::claims},
    {"address", &history_entry::address}, {"before", &history_entry::before},
    {"after", &history_entry::after},     {"result", &history_entry::result},
    {"reason", &history_entry::reason},
};
constexpr std::pair<const char*, std::int64_t history_entry::*> numbers[] = {
    {"user", &history_entry::user},       {"process", &history_entry::process},
    {"ms", &history_entry::milliseconds}, {"count", &history_entry::count},
    {"until", &history_entry::until_us},
};
constexpr std::pair<const char*, int history_entry::*> places[] = {
    {"output", &history_entry::output},
    {"input", &history_entry::input},
};

bool is_epoch(const std::string& text) {
    return text.size() == 16 && epoch_number(text) != 0;
}

std::optional<entry_kind> kind_of(const std::string& word) {
    for (int number = 0; number <= static_cast<int>(entry_kind::token); number++)
        if (word == entry_kind_word(static_cast<entry_kind>(number)))
            return static_cast<entry_kind>(number);
    return std::nullopt;
}

// What is as in an empty entry is left out.
template<typename members, typename value_of>
void add_members(json* object, const history_entry& entry, const members& all, const value_of& value) {
    static const history_entry empty;
    for (const auto& [name, where] : all)
        if (entry.*where != empty.*where)
            (*object)[name] = value(entry.*where);
}

template<typename members> void read_members(const json& object, const members& all, history_entry* entry) {
    for (const auto& [name, where] : all)
        entry->*where = member(object, name, entry->*where);
}

} // namespace

std::string history_subject(std::string_view site) {
    return std::string(subject_begin).append(site).append(subject_end);
}

std::optional<std::string> site_of_history_subject(std::string_view subject) {
    if (subject.size() <= subject_begin.size() + subject_end.size() || !subject.starts_with(subject_begin) ||
        !subject.ends_with(subject_end))
        return std::nullopt;
    subject.remove_prefix(subject_begin.size());
    subject.remove_suffix(subject_end.size());
    return subject.find('.') == std::string_view::npos ? std::optional<std::string>(subject) : std::nullopt;
}

std::string history_message_id(std::string_view site, const history_entry& entry) {
    return std::string(site) + '.' + entry.site_epoch + '.' + std::to_string(entry.site_number);
}

// A router's name is escaped: it may be bytes that are no text.
std::string history_text(const far_entry& told) {
    const history_entry& entry = told.entry;
    json object = {{"v", site_message_version},
                   {"epoch", entry.site_epoch},
                   {"number", entry.site_number},
                   {"time", entry.time_us},
                   {"kind", entry_kind_word(entry.kind)}};
    if (!entry.router.empty())
        object["router"] = escaped_name(entry.router);
    if (entry.number > 0)
        object["record"] = {entry.epoch, entry.number};
    if (told.share != entry_share::common)
        object["share"] = static_cast<int>(told.share);
    const auto as_is = [](const auto& value) { return value; };
    add_members(&object, entry, texts, as_is);
    add_members(&object, entry, numbers, as_is);
    add_members(&object, entry, places, as_is);
    return message_text(object);
}

std::optional<history_message> read_history_message(const std::string& text) {
    return read_message<history_message>(text, [](const json& object, history_message* message) {
        history_entry& entry = message->told.entry;
        entry.site_epoch = object.at("epoch").get<std::string>();
        entry.site_number = object.at("number").get<std::int64_t>();
        entry.time_us = object.at("time").get<std::int64_t>();
        const auto kind = kind_of(object.at("kind").get<std::string>());
        const int share = member<int>(object, "share");
        if (!is_epoch(entry.site_epoch) || entry.site_number <= 0 || entry.time_us <= 0 || !kind ||
            share < 0 || share > static_cast<int>(entry_share::refusals))
            return false;
        entry.kind = *kind;
        message->told.share = static_cast<entry_share>(share);
        if (const std::string router = member<std::string>(object, "router"); !router.empty()) {
            const auto name = name_of_escaped(router);
            if (!name)
                return false;
            entry.router = *name;
        }
        if (const auto record = object.find("record"); record != object.end()) {
            entry.epoch = record->at(0).get<std::string>();
            entry.number = record->at(1).get<std::int64_t>();
            if (!is_epoch(entry.epoch) || entry.number <= 0)
                return false;
        }
        read_members(object, texts, &entry);
        read_members(object, numbers, &entry);
        read_members(object, places, &entry);
        return entry.output >= 0 && entry.input >= 0 && entry.count >= 0 && entry.until_us >= 0;
    });
}

far_entry entry_of_site(const std::string& site, far_entry told) {
    history_entry& entry = told.entry;
    entry.site = site;
    if (!entry.router.empty())
        entry.router = far_name(site, entry.router);
    if (!entry.by.empty() && entry.through != through_site) // that is a name with a site already
        entry.by = far_name(site, entry.by);
    return told;
}

} // namespace gateway
