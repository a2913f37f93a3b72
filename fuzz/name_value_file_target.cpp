// read_name_value_file, against a second, simple reading of the same text.
#include "endpoint.h"
#include "target.h"
#include "temporary_file.h"

namespace {

constexpr std::size_t longest_piece = 4095;

// Only for texts without NUL bytes, which end a C string.
std::map<std::string, std::string> simple_reading(std::string_view text) {
    std::map<std::string, std::string> map;
    while (!text.empty()) {
        std::string line(text.substr(0, longest_piece));
        line.erase(std::min(line.find('\n'), line.size()));
        const bool ended = line.size() < std::min(longest_piece, text.size());
        text.remove_prefix(line.size() + (ended ? 1 : 0));
        const auto equals = line.find('=');
        if (line.empty() || line[0] == '#' || equals == std::string::npos)
            continue;
        std::string name = line.substr(0, equals);
        std::string value = line.substr(equals + 1);
        if (!name.empty() && name.back() == ' ')
            name.pop_back();
        if (!value.empty() && value.front() == ' ')
            value.erase(0, 1);
        if (map.count(name) == 0)
            map[name] = value;
        else
            map[name] += "\n" + value;
    }
    return map;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    write_temporary_file(as_text(data, size));
    std::map<std::string, std::string> map;
    FUZZ_CHECK(read_name_value_file(map, temporary_file_path()) == 0);
    for (const auto& [name, value] : map)
        FUZZ_CHECK(name.find_first_of("=\n") == std::string::npos);
    if (as_text(data, size).find('\0') == std::string_view::npos)
        FUZZ_CHECK(map == simple_reading(as_text(data, size)));
    return 0;
}
