#include "gateway_token.h"

#include "display_text.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fstream>

namespace {

constexpr std::size_t token_limit = 256; // bytes

// What stands in a header line has to be plain.
bool is_token(const std::string& text) {
    return !text.empty() && text.size() <= token_limit &&
           std::all_of(text.begin(), text.end(), [](char letter) { return letter > ' ' && letter < '\x7f'; });
}

std::string without_blanks(const std::string& text) {
    const auto begin = text.find_first_not_of(" \t\r");
    return begin == std::string::npos ? "" : text.substr(begin, text.find_last_not_of(" \t\r") + 1 - begin);
}

} // namespace

bool find_gateway_token(const std::string& file, std::string* token, std::string* problem) {
    if (file.empty()) {
        const char* const value = std::getenv("VRDX_TOKEN");
        *token = without_blanks(value != nullptr ? value : "");
        if (token->empty() || is_token(*token))
            return true;
        *problem = "what VRDX_TOKEN holds is no token: one word, as \"vrdx_gateway token add\" prints it";
        return false;
    }
    std::ifstream input(file);
    std::string line;
    if (input && std::getline(input, line) && is_token(without_blanks(line))) {
        *token = without_blanks(line);
        return true;
    }
    const int error = input.is_open() ? 0 : errno;
    *problem = error != 0 ? "cannot open the token file " + in_quotes(file) + ": " + std::strerror(error)
                          : "the token file " + in_quotes(file) +
                                " holds no token: one line, as \"vrdx_gateway token add\" prints it";
    return false;
}
