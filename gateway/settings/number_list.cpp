#include "number_list.h"

#include "gateway/settings/limits.h"
#include "plain_text.h"

#include <algorithm>

namespace gateway {
namespace {

using range = std::pair<int, int>;

std::string list_problem(std::string_view piece) {
    return "\"" + std::string(piece) + "\" is no number or range; possible: numbers from 1 to " +
           std::to_string(largest_number) + " such as \"1-8,12\"";
}

// from_chars() would take a sign.
std::optional<int> number_of(std::string_view text) {
    const bool digits_alone = text.find_first_not_of("0123456789") == std::string_view::npos;
    const std::optional<int> number = digits_alone ? whole_number(text) : std::nullopt;
    return number && *number >= 1 && *number <= largest_number ? number : std::nullopt;
}

std::optional<range> range_of(std::string_view piece) {
    const auto dash = piece.find('-');
    const std::optional<int> first = number_of(piece.substr(0, dash));
    const std::optional<int> last =
        dash == std::string_view::npos ? first : number_of(piece.substr(dash + 1));
    if (!first || !last || *first > *last)
        return std::nullopt;
    return range(*first, *last);
}

void join_neighbours(std::vector<range>* ranges) {
    std::sort(ranges->begin(), ranges->end());
    std::vector<range> joined;
    for (const range& one : *ranges)
        if (!joined.empty() && one.first <= joined.back().second + 1)
            joined.back().second = std::max(joined.back().second, one.second);
        else
            joined.push_back(one);
    *ranges = std::move(joined);
}

} // namespace

std::optional<number_list> number_list::parse(std::string_view text, std::string* problem) {
    if (text.size() > number_list_text_limit) {
        *problem = "the list is longer than " + std::to_string(number_list_text_limit) +
                   " bytes; possible: ranges such as \"1-8,12\"";
        return std::nullopt;
    }
    number_list list;
    for (std::size_t begin = 0; begin <= text.size();) {
        const std::size_t end = std::min(text.find(',', begin), text.size());
        const std::string_view piece = text.substr(begin, end - begin);
        const std::optional<range> found = range_of(piece);
        if (!found) {
            *problem = list_problem(piece);
            return std::nullopt;
        }
        list.ranges_.push_back(*found);
        begin = end + 1;
    }
    join_neighbours(&list.ranges_);
    return list;
}

bool number_list::has(int number) const {
    if (all())
        return true;
    const auto after = std::upper_bound(ranges_.begin(), ranges_.end(), number,
                                        [](int wanted, const range& one) { return wanted < one.first; });
    return after != ranges_.begin() && number <= std::prev(after)->second;
}

bool number_list::holds(const number_list& other) const {
    if (all() || other.all())
        return all();
    // Ranges never touch each other, so one that is held is held by a single one.
    return std::all_of(other.ranges_.begin(), other.ranges_.end(), [this](const range& wanted) {
        return std::any_of(ranges_.begin(), ranges_.end(), [&wanted](const range& one) {
            return one.first <= wanted.first && wanted.second <= one.second;
        });
    });
}

std::string number_list::text() const {
    std::string text;
    for (const auto& [first, last] : ranges_) {
        if (!text.empty())
            text += ',';
        text += std::to_string(first);
        if (last != first)
            text += '-' + std::to_string(last);
    }
    return text;
}

} // namespace gateway
