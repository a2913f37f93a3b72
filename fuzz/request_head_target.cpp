// The head of a request: one that is accepted says where its body ends in one way only, whoever reads it.
#include "gateway/http/request_head.h"
#include "target.h"

#include <algorithm>
#include <cctype>
#include <string>
#include <vector>

namespace {

std::string small(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char letter) { return static_cast<char>(std::tolower(letter)); });
    return text;
}

// The lines as the most lenient reader takes them: at each LF, a CR before it or not.
std::vector<std::string> lenient_lines(std::string_view head) {
    std::vector<std::string> lines(1);
    for (const char letter : head) {
        if (letter == '\n')
            lines.emplace_back();
        else if (letter != '\r')
            lines.back() += letter;
    }
    return lines;
}

void check_framing(std::string_view head) {
    std::size_t hosts = 0, lengths = 0, encodings = 0;
    for (const std::string& line : lenient_lines(head)) {
        const std::string name = small(line.substr(0, line.find_first_of(" \t:")));
        const std::string value = small(line.substr(std::min(line.find(':'), line.size() - 1) + 1));
        hosts += name == "host" ? 1 : 0;
        lengths += name == "content-length" ? 1 : 0;
        encodings += name == "transfer-encoding" ? 1 : 0;
        if (name == "content-length")
            FUZZ_CHECK(value.find_first_not_of(" \t0123456789") == std::string::npos);
        if (name == "transfer-encoding")
            FUZZ_CHECK(value.find("chunked") != std::string::npos && value.find(',') == std::string::npos);
    }
    FUZZ_CHECK(hosts <= 1 && lengths + encodings <= 1);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text = as_text(data, size);
    std::size_t looked = 0;
    const std::size_t length = gateway::head_length(text, &looked);
    // Come byte by byte it ends at the same place.
    std::size_t piecewise = 0, looked_piecewise = 0;
    for (std::size_t there = 1; there <= size && piecewise == 0; ++there)
        piecewise = gateway::head_length(text.substr(0, there), &looked_piecewise);
    FUZZ_CHECK(piecewise == length);
    const std::string_view head = text.substr(0, length);
    // The first line is the method's, whose own rules are the HTTP library's.
    const std::size_t first_end = head.find("\r\n");
    if (length == 0 || first_end == 0 || !gateway::head_problem(head).empty())
        return 0;
    FUZZ_CHECK(head.substr(0, head.size() - 4).find("\r\n\r\n") == std::string_view::npos);
    check_framing(head.substr(first_end + 2));
    return 0;
}
