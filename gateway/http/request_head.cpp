#include "request_head.h"

#include "http_text.h"

#include <algorithm>
#include <cctype>

namespace gateway {

namespace {

constexpr std::string_view line_end = "\r\n";

bool same_name(std::string_view name, std::string_view small) {
    return std::equal(name.begin(), name.end(), small.begin(), small.end(), [](char letter, char wanted) {
        return std::tolower(static_cast<unsigned char>(letter)) == wanted;
    });
}

bool has_control_character(std::string_view line) {
    return std::any_of(line.begin(), line.end(), [](char letter) {
        return (static_cast<unsigned char>(letter) < 0x20 && letter != '\t') || letter == 0x7f;
    });
}

struct framing {
    std::size_t hosts = 0, lengths = 0, encodings = 0;
    bool chunked = true;      // what was said of encodings is "chunked"
    bool plain_length = true; // what was said of lengths is one number
};

std::string note_header(std::string_view line, framing* found) {
    if (line[0] == ' ' || line[0] == '\t')
        return "A header folded over several lines is not possible; write it on one.";
    const std::size_t colon = line.find(':');
    if (colon == std::string_view::npos || colon == 0)
        return "A header line has no name with a colon behind it.";
    const std::string_view name = line.substr(0, colon);
    if (name.find_first_of(" \t") != std::string_view::npos)
        return "A header's name and its colon must not have a blank in or behind them.";
    if (same_name(name, "host"))
        found->hosts++;
    else if (same_name(name, "content-length")) {
        const std::string_view length = trimmed(line.substr(colon + 1));
        found->lengths++;
        found->plain_length =
            !length.empty() && length.find_first_not_of("0123456789") == std::string_view::npos;
    } else if (same_name(name, "transfer-encoding")) {
        found->encodings++;
        found->chunked = found->chunked && same_name(trimmed(line.substr(colon + 1)), "chunked");
    }
    return "";
}

std::string framing_problem(const framing& found, bool old_version) {
    if (found.hosts > 1 || (found.hosts == 0 && !old_version))
        return "A request has exactly one Host header.";
    if (found.lengths > 1 || !found.plain_length)
        return "A request has at most one Content-Length header, with one number.";
    if (found.encodings > 0 && found.lengths > 0)
        return "Content-Length and Transfer-Encoding contradict each other; send one of them.";
    if (found.encodings > 1 || !found.chunked || (found.encodings > 0 && old_version))
        return "The only Transfer-Encoding possible is \"chunked\", once, with HTTP/1.1.";
    return "";
}

} // namespace

std::size_t empty_lines(std::string_view bytes) {
    std::size_t length = 0;
    while (bytes.substr(length, line_end.size()) == line_end)
        length += line_end.size();
    return length;
}

std::size_t head_length(std::string_view bytes, std::size_t* looked) {
    constexpr std::string_view end = "\r\n\r\n";
    const std::size_t found = bytes.find(end, *looked);
    if (found != std::string_view::npos)
        return found + end.size();
    *looked = bytes.size() < end.size() ? 0 : bytes.size() - end.size() + 1;
    return 0;
}

std::string head_problem(std::string_view head) {
    framing found;
    bool first = true, old_version = false;
    while (!head.empty()) {
        const std::size_t end = head.find(line_end);
        const std::string_view line = head.substr(0, end);
        head.remove_prefix(end == std::string_view::npos ? head.size() : end + line_end.size());
        if (has_control_character(line))
            return "The request's head has a control character, or a line that does not end with CR LF.";
        if (first) {
            old_version = line.ends_with(" HTTP/1.0");
            first = false;
            continue;
        }
        if (line.empty())
            break;
        std::string problem = note_header(line, &found);
        if (!problem.empty())
            return problem;
    }
    return framing_problem(found, old_version);
}

} // namespace gateway
