// An entry of a site's history as sites tell it to each other: JSON, one message each, under
// "vr.SITE.history" in the broker's stream. docs/federation.md has the members.
#pragma once

#include "gateway/audit/history_entry.h"

#include <optional>
#include <string>
#include <string_view>

namespace gateway {

constexpr const char* history_stream_name = "VR_AUDIT";
constexpr const char* history_stream_subjects = "vr.*.history";

std::string history_subject(std::string_view site);
// Nothing for any other subject.
std::optional<std::string> site_of_history_subject(std::string_view subject);

// An id that no other entry of any site has.
std::string history_message_id(std::string_view site, const history_entry& entry);

struct history_message {
    int version = 0;
    far_entry told; // site empty, router and `by` as they are called there
};

std::string history_text(const far_entry& told);
// Nothing for what is no such message. One of another version has only `version`.
std::optional<history_message> read_history_message(const std::string& text);

// The entry as this site keeps it: of `site`, its router and who it was with that name before them.
far_entry entry_of_site(const std::string& site, far_entry told);

} // namespace gateway
