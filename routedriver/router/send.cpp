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

void router_send_client_message(const TavrixAPIRouterMessage& message) {
    // Counted first: each line feed repeats a name, and what a client can send would encode to more than any
    // memory holds.
    const std::size_t length = encoded_router_message_length(message);
    if (length <= backend_pipe_buffer_bytes)
        router_send_message(message);
    else
        std::fprintf(stderr, "Dropped '%s' of %zu bytes: too long for the backend's pipe\n",
                     message.command.c_str(), length);
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
