// number_list, against a simple reading of the same text; what it shows, it reads again.
#include "gateway/settings/limits.h"
#include "gateway/settings/number_list.h"
#include "target.h"

#include <bitset>
#include <sstream>

namespace {

using numbers = std::bitset<gateway::largest_number + 1>;

// 0: none, or beyond the largest.
int number_in(const std::string& text) {
    if (text.empty() || text.find_first_not_of("0123456789") != std::string::npos)
        return 0;
    const auto digits = text.find_first_not_of('0');
    if (digits == std::string::npos || text.size() - digits > 4)
        return 0;
    const int number = std::stoi(text);
    return number <= gateway::largest_number ? number : 0;
}

// False when the text is no list.
bool simple_reading(const std::string& text, numbers* found) {
    std::istringstream pieces(text + ",");
    for (std::string piece; std::getline(pieces, piece, ',');) {
        const auto dash = piece.find('-');
        const int first = number_in(piece.substr(0, dash));
        const int last = dash == std::string::npos ? first : number_in(piece.substr(dash + 1));
        if (first == 0 || last < first)
            return false;
        for (int number = first; number <= last; ++number)
            found->set(static_cast<std::size_t>(number));
    }
    return true;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(as_text(data, size));
    std::string problem;
    const auto list = gateway::number_list::parse(text, &problem);
    numbers expected;
    const bool is_list = text.size() <= gateway::number_list_text_limit && simple_reading(text, &expected);
    FUZZ_CHECK(list.has_value() == is_list);
    FUZZ_CHECK(problem.empty() == is_list);
    if (!list)
        return 0;
    FUZZ_CHECK(!list->all());
    for (int number = 0; number <= gateway::largest_number; ++number)
        FUZZ_CHECK(list->has(number) == expected.test(static_cast<std::size_t>(number)));
    FUZZ_CHECK(list->text().size() <= text.size());
    FUZZ_CHECK(gateway::number_list::parse(list->text(), &problem) == list);
    return 0;
}
