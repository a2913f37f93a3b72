// Heads and targets of HTTP requests, looked at as bytes before anything parses them.
#include "gateway/http/request_head.h"
#include "gateway/http/request_target.h"
#include "gateway/http/utf8.h"
#include "target.h"

#include <algorithm>

namespace {

// However the bytes come, the head's end is the same.
void check_head_length(std::string_view bytes) {
    std::size_t at_once = 0, looked = 0, found = 0;
    const std::size_t length = gateway::head_length(bytes, &at_once);
    for (std::size_t come = 0; come <= bytes.size() && found == 0; come++)
        found = gateway::head_length(bytes.substr(0, come), &looked);
    FUZZ_CHECK(found == length);
    FUZZ_CHECK(length <= bytes.size());
    if (length > 0)
        FUZZ_CHECK(bytes.substr(length - 4, 4) == "\r\n\r\n");
}

void check_head(std::string_view head) {
    if (!gateway::head_problem(head).empty())
        return;
    FUZZ_CHECK(head.find('\0') == std::string_view::npos);
    FUZZ_CHECK(head.find("\r\n ") == std::string_view::npos && head.find("\r\n\t") == std::string_view::npos);
}

void check_target(std::string_view text) {
    gateway::request_target target;
    if (!gateway::read_target(text, &target).empty())
        return;
    FUZZ_CHECK(target.path.starts_with('/'));
    FUZZ_CHECK(gateway::is_utf8(target.path));
    FUZZ_CHECK(target.path.find_first_of(std::string_view("\0\n\r\\", 4)) == std::string::npos);
    const std::string closed = target.path + '/';
    FUZZ_CHECK(closed.find("/../") == std::string::npos && closed.find("/./") == std::string::npos);
    for (const auto& [name, value] : target.query)
        FUZZ_CHECK(gateway::is_utf8(name) && gateway::is_utf8(value));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view bytes = as_text(data, size);
    std::string_view rest = bytes.substr(gateway::empty_lines(bytes));
    check_head_length(rest);
    std::size_t looked = 0;
    check_head(rest.substr(0, gateway::head_length(rest, &looked)));
    rest = rest.substr(std::min(rest.find(' '), rest.size()));
    check_target(rest.substr(std::min<std::size_t>(1, rest.size())).substr(0, rest.find(' ', 1)));
    check_target(bytes);
    return 0;
}
