#include "port_names.h"

#include "display_text.h"
#include "plain_text.h"

#include <algorithm>
#include <cctype>
#include <numeric>

namespace {

constexpr std::size_t most_candidates = 12; // named in one message
constexpr std::size_t shown_columns = 60;   // of what somebody typed
constexpr std::size_t name_columns = 40;    // of a name in a message

char lower(char letter) {
    return static_cast<char>(std::tolower(static_cast<unsigned char>(letter)));
}

std::string typed(std::string_view text) {
    return in_quotes(cut_to(text, shown_columns));
}

std::string with_name(const std::string& number, std::string_view name) {
    return name.empty() ? number : number + ' ' + in_quotes(cut_to(name, name_columns));
}

std::string_view name_of(const port_names& ports, int number) {
    return ports.names[static_cast<std::size_t>(number) - 1];
}

template<typename test> std::vector<int> numbers_with(const port_names& ports, const test& fits) {
    std::vector<int> numbers;
    for (std::size_t i = 0; i < ports.names.size(); ++i)
        if (fits(ports.names[i]))
            numbers.push_back(static_cast<int>(i) + 1);
    return numbers;
}

std::string how_many(const port_names& ports) {
    const std::size_t count = ports.names.size();
    return "the router has " + std::to_string(count) + ' ' + ports.one + (count == 1 ? "" : "s");
}

std::string no_such_number(const port_names& ports, std::string_view number) {
    return std::string(ports.one) + ' ' + std::string(number) + " does not exist: " + how_many(ports);
}

std::string candidates_text(const port_names& ports, const std::vector<int>& numbers) {
    std::string text;
    for (std::size_t i = 0; i < std::min(numbers.size(), most_candidates); ++i)
        text += (i == 0 ? "" : ", ") + with_name(std::to_string(numbers[i]), name_of(ports, numbers[i]));
    if (numbers.size() > most_candidates)
        text += " and " + std::to_string(numbers.size() - most_candidates) + " more";
    return text;
}

// Of whole names first, then of parts of names.
std::vector<int> named(const port_names& ports, std::string_view text) {
    std::vector<int> numbers = numbers_with(ports, [text](std::string_view name) { return name == text; });
    if (numbers.empty())
        numbers = numbers_with(ports, [text](std::string_view name) {
            return name.size() == text.size() && contains_text(name, text);
        });
    if (numbers.empty())
        numbers = numbers_with(ports, [text](std::string_view name) { return contains_text(name, text); });
    return numbers;
}

bool is_number(std::string_view text) {
    return !text.empty() && text.find_first_not_of("0123456789") == std::string_view::npos;
}

// "4-9". False for what is no range; then it may be a name.
bool split_range(std::string_view text, std::string_view* first, std::string_view* last) {
    const auto dash = text.find('-');
    if (dash == std::string_view::npos)
        return false;
    *first = text.substr(0, dash);
    *last = text.substr(dash + 1);
    return is_number(*first) && is_number(*last);
}

bool add_range(const port_names& ports, std::string_view first, std::string_view last,
               std::vector<int>* numbers, std::string* error) {
    const int from = find_port(ports, first, error);
    const int to = from < 0 ? -1 : find_port(ports, last, error);
    if (to < 0)
        return false;
    if (from > to) {
        *error = "the range " + std::string(first) + '-' + std::string(last) + " ends before it begins";
        return false;
    }
    for (int number = from; number <= to; ++number)
        numbers->push_back(number);
    return true;
}

bool add_ports(const port_names& ports, std::string_view text, std::vector<int>* numbers,
               std::string* error) {
    std::string_view first;
    std::string_view last;
    if (text == "*") {
        numbers->resize(ports.names.size());
        std::iota(numbers->begin(), numbers->end(), 1);
        return true;
    }
    if (!is_whole_name(ports, text) && split_range(text, &first, &last))
        return add_range(ports, first, last, numbers, error);
    const int number = find_port(ports, text, error);
    if (number > 0)
        numbers->push_back(number);
    return number > 0;
}

} // namespace

port_names input_names_of(const router_picture& picture) {
    port_names ports{"input", {}};
    for (const auto& input : picture.inputs)
        ports.names.emplace_back(input.name);
    return ports;
}

port_names output_names_of(const router_picture& picture) {
    port_names ports{"output", {}};
    for (const auto& output : picture.outputs)
        ports.names.emplace_back(output.name);
    return ports;
}

int find_port(const port_names& ports, std::string_view text, std::string* error) {
    if (text.empty()) {
        *error = std::string("there is no ") + ports.one + " of an empty name";
        return -1;
    }
    if (is_number(text)) {
        const int number = number_of_digits(text).value_or(-1);
        if (number >= 1 && static_cast<std::size_t>(number) <= ports.names.size())
            return number;
        *error = no_such_number(ports, cut_to(text, shown_columns));
        return -1;
    }
    const std::vector<int> numbers = named(ports, text);
    if (numbers.size() == 1)
        return numbers.front();
    *error = numbers.empty()
                 ? "no " + std::string(ports.one) + " is called " + typed(text) + ": " + how_many(ports)
                 : typed(text) + " fits " + std::to_string(numbers.size()) + ' ' + ports.one +
                       "s: " + candidates_text(ports, numbers);
    return -1;
}

std::vector<int> find_ports(const port_names& ports, std::string_view text, std::string* error) {
    std::vector<int> numbers;
    if (text.find(',') == std::string_view::npos || is_whole_name(ports, text)) {
        if (!add_ports(ports, text, &numbers, error))
            numbers.clear();
        return numbers;
    }
    for (std::size_t at = 0; at <= text.size();) {
        const std::size_t end = std::min(text.find(',', at), text.size());
        std::vector<int> more;
        if (!add_ports(ports, text.substr(at, end - at), &more, error))
            return {};
        numbers.insert(numbers.end(), more.begin(), more.end());
        at = end + 1;
    }
    std::sort(numbers.begin(), numbers.end());
    numbers.erase(std::unique(numbers.begin(), numbers.end()), numbers.end());
    return numbers;
}

bool is_whole_name(const port_names& ports, std::string_view text) {
    return std::find(ports.names.begin(), ports.names.end(), text) != ports.names.end();
}

bool contains_text(std::string_view text, std::string_view part) {
    const auto alike = [](char a, char b) { return lower(a) == lower(b); };
    return std::search(text.begin(), text.end(), part.begin(), part.end(), alike) != text.end() ||
           part.empty();
}

std::string output_text(const router_picture& picture, int number) {
    const auto index = static_cast<std::size_t>(number) - 1;
    return with_name("output " + std::to_string(number),
                     index < picture.outputs.size() ? std::string_view(picture.outputs[index].name) : "");
}

std::string source_text(const router_picture& picture, int number) {
    if (number <= 0)
        return number == vrdx::source_none ? "none" : "unknown";
    const auto index = static_cast<std::size_t>(number) - 1;
    return with_name(std::to_string(number),
                     index < picture.inputs.size() ? std::string_view(picture.inputs[index].name) : "");
}

std::string sources_text(const router_picture& picture, const level_sources& sources) {
    if (sources.audio == sources.video)
        return source_text(picture, sources.audio);
    return "audio " + source_text(picture, sources.audio) + ", video " + source_text(picture, sources.video);
}

std::string number_list(const std::vector<int>& ascending) {
    std::string text;
    for (std::size_t i = 0; i < ascending.size();) {
        std::size_t last = i;
        while (last + 1 < ascending.size() && ascending[last + 1] == ascending[last] + 1)
            ++last;
        text += (text.empty() ? "" : ", ") + std::to_string(ascending[i]);
        if (last > i)
            text += (last == i + 1 ? ", " : "-") + std::to_string(ascending[last]);
        i = last + 1;
    }
    return text;
}
