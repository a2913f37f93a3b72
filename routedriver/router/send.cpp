#include "router.h"

#include "backend.h"
#include "vrdx_assert.h"

#include <cstdio>

void router_send_message(const TavrixAPIRouterMessage& message) {
    std::string text;
    encode_router_message(message, text);
    std::size_t n = 0;
    for (std::size_t i = 0; i < text.size(); i = n + 1) {
        n = text.find('\n', i);
        if (n == std::string::npos)
            n = text.size();
        vrdx_assert(n >= i);
        std::fputs("STDIN: '", stderr);
        std::fwrite(text.data() + i, 1, n - i, stderr);
        std::fputs("'\n", stderr);
    }
    pending_lines.push_back(std::move(text));
}

void request_router_report() {
    TavrixAPIRouterMessage message;
    message.command = "report";
    message.type = "command";
    for (const char* what : {"outputs", "inputs"}) {
        message.fields["what"] = what;
        router_send_message(message);
    }
}
