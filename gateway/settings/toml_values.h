// Values of a TOML file, and what is said of wrong ones. For the reading of the configuration alone.
#pragma once

#include <algorithm>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <toml++/toml.h>

namespace gateway {

// Nothing of the file may end the line of a problem, or steer a terminal.
std::string on_one_line(std::string_view text);

// The same in quotes, and not too long.
std::string quoted(std::string_view text);

// "cannot be a table".
std::string wrong_type(const toml::node& value);

// One text, or an array of 1 to `most` texts. Returns what is wrong; "" when nothing is.
std::string read_texts(const toml::node& value, std::size_t most, std::vector<std::string>* texts);

// A path that begins with /. Returns what is wrong; "" when nothing is.
std::string read_path(const toml::node& node, std::string* path);

// Texts of which `convert` makes values; those it refuses are wrong. Each value once.
template<typename value_type, typename converter>
std::string read_values(const toml::node& node, std::size_t most, converter convert,
                        std::vector<value_type>* values) {
    std::vector<std::string> texts;
    std::string problem = read_texts(node, most, &texts);
    if (!problem.empty())
        return problem;
    std::vector<value_type> found;
    for (const std::string& text : texts) {
        const std::optional<value_type> converted = convert(text);
        if (!converted)
            return "cannot be " + quoted(text);
        if (std::find(found.begin(), found.end(), *converted) == found.end())
            found.push_back(*converted);
    }
    *values = std::move(found);
    return {};
}

} // namespace gateway
