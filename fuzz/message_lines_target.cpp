// The text form of the messages between driver and backend: what was read from any lines is written and read
// again as the same message.
#include "message.h"
#include "target.h"

#include <string>

namespace {

// The lines of `text`, each with its line feed, up to its end.
void parse_all(TavrixAPIRouterMessage& message, std::string_view text) {
    for (auto feed = text.find('\n'); feed != std::string_view::npos; feed = text.find('\n')) {
        if (feed > 0)
            parse_router_message_line(message, text.substr(0, feed));
        text.remove_prefix(feed + 1);
    }
}

void check_text_form(const std::string& text) {
    FUZZ_CHECK(text == "\n" || text.ends_with("\n\n"));
    FUZZ_CHECK(text.find("\n\n") == (text == "\n" ? std::string::npos : text.size() - 2));
    FUZZ_CHECK(text.front() != '\n' || text.size() == 1);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    TavrixAPIRouterMessage message;
    parse_all(message, as_text(data, size));
    std::string text;
    encode_router_message(message, text);
    check_text_form(text);
    TavrixAPIRouterMessage again;
    parse_all(again, text);
    FUZZ_CHECK(again.command == message.command && again.error == message.error);
    FUZZ_CHECK(again.type == message.type && again.id == message.id);
    FUZZ_CHECK(again.fields == message.fields);
    clear_router_message(again);
    FUZZ_CHECK(router_message_empty(again) && again.type.empty() && again.id.empty());
    return 0;
}
