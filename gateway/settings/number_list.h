// A list of inputs or outputs, 1-based: "1-8,12".
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace gateway {

class number_list {
public:
    // All numbers. parse() never gives that one: nobody is allowed all by a text that came out empty.
    number_list() = default;

    // Numbers and ranges in any order, without blanks, 1 to largest_number. Nothing and a sentence in
    // *problem when it is none.
    static std::optional<number_list> parse(std::string_view text, std::string* problem);

    bool all() const {
        return ranges_.empty();
    }
    bool has(int number) const;

    // True when this one has every number of the other.
    bool holds(const number_list& other) const;

    // In order and as short as it goes; parse() reads it. Empty for all.
    std::string text() const;

    bool operator==(const number_list&) const = default;

private:
    std::vector<std::pair<int, int>> ranges_; // first and last; in order, never touching each other
};

} // namespace gateway
