#include "json_reading.h"

#include "gateway/settings/limits.h"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <set>
#include <stdexcept>
#include <vector>

namespace gateway {

namespace {

class unwanted : public std::runtime_error {
    using std::runtime_error::runtime_error;
};

bool fits(const json& number) {
    if (number.is_number_unsigned())
        return number.get<std::uint64_t>() <= std::numeric_limits<std::int32_t>::max();
    return !number.is_number_float() &&
           number.get<std::int64_t>() >= std::numeric_limits<std::int32_t>::min() &&
           number.get<std::int64_t>() <= std::numeric_limits<std::int32_t>::max();
}

// Hears of each value as it is read, so that too deep a text is given up where it gets too deep.
class strict_reader {
public:
    bool operator()(int depth, json::parse_event_t event, const json& value) {
        using what = json::parse_event_t;
        if (event == what::object_start || event == what::array_start) {
            if (static_cast<std::size_t>(depth) >= json_depth_limit)
                throw unwanted("The body is nested too deeply; possible are " +
                               std::to_string(json_depth_limit) + " arrays and objects within each other.");
            names_.emplace_back();
        } else if (event == what::object_end || event == what::array_end)
            names_.pop_back();
        else if (event == what::key && !names_.back().insert(value.get<std::string>()).second)
            throw unwanted("The body has the member " + json_text(value) + " twice in one object.");
        else if (event == what::value && value.is_number() && !fits(value))
            throw unwanted(
                "The body has a number that is not whole, or not between -2147483648 and 2147483647.");
        return true;
    }

private:
    std::vector<std::set<std::string>> names_; // of each object that is open
};

} // namespace

std::optional<json> read_json(std::string_view text, std::string* problem) {
    // The parser would take a NUL for the end, and not see what stands behind it.
    if (const std::size_t end = text.find('\0'); end != std::string_view::npos) {
        *problem = "The body is no JSON in UTF-8: wrong at byte " + std::to_string(end + 1) + ".";
        return std::nullopt;
    }
    try {
        strict_reader reader;
        return json::parse(text, std::ref(reader));
    } catch (const unwanted& why) {
        *problem = why.what();
    } catch (const json::out_of_range&) {
        *problem = "The body has a number that is not whole, or not between -2147483648 and 2147483647.";
    } catch (const json::parse_error& why) {
        *problem = "The body is no JSON in UTF-8: wrong at byte " + std::to_string(why.byte) + ".";
    }
    return std::nullopt;
}

std::string members_problem(const json& value, std::initializer_list<std::string_view> possible) {
    std::string names;
    for (const std::string_view name : possible)
        names += (names.empty() ? "\"" : ", \"") + std::string(name) + '"';
    if (!value.is_object())
        return "It has to be an object with the members " + names + ".";
    for (const auto& [name, ignored] : value.items())
        if (std::find(possible.begin(), possible.end(), name) == possible.end())
            return "There is no member " + json_text(name) + "; possible are " + names + ".";
    return "";
}

bool is_plain_text(std::string_view text, std::size_t most_bytes) {
    return text.size() <= most_bytes && std::none_of(text.begin(), text.end(), [](char letter) {
               return static_cast<unsigned char>(letter) < 0x20 || letter == 0x7f;
           });
}

} // namespace gateway
