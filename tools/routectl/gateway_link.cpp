#include "gateway_link.h"

#include "display_text.h"
#include "program_end.h"

#include <chrono>

namespace {

int fail(std::string* problem, int exit_code, const std::string& text) {
    *problem = text;
    return exit_code;
}

std::chrono::milliseconds rounded_up(std::uint64_t microseconds) {
    return std::chrono::milliseconds((microseconds + 999) / 1000);
}

constexpr std::size_t detail_columns = 400; // of what a gateway says, or whoever answers in its place

} // namespace

std::string percent_encoded(const std::string& text) {
    constexpr const char* digits = "0123456789ABCDEF";
    std::string encoded;
    for (const char letter : text) {
        const auto byte = static_cast<unsigned char>(letter);
        const bool is_plain = (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z') ||
                              (byte >= '0' && byte <= '9') || byte == '-' || byte == '_' || byte == '.' ||
                              byte == '~';
        if (is_plain)
            encoded += letter;
        else
            encoded.append({'%', digits[byte >> 4U], digits[byte & 0xfU]});
    }
    return encoded;
}

std::string gateway_path(const invocation& call, const std::string& rest) {
    return "/api/v1/routers/" + percent_encoded(call.place.name) + rest;
}

int gateway_refusal(const invocation& call, unsigned status, const std::string& body, std::string* problem) {
    const gateway_json said = gateway_json::parse(body, nullptr, false);
    const std::string detail = cut_to(text_in(said, "detail"), detail_columns);
    if (!said.is_object() || detail.empty())
        return fail(problem, exit_no_driver,
                    "what answers there is no gateway: status " + std::to_string(status));
    switch (status) {
    case 401:
        return fail(problem, exit_refused,
                    call.gateway->token.empty()
                        ? "the gateway wants a token: --token-file FILE, or VRDX_TOKEN in the environment"
                        : "the gateway knows no such token, or no more");
    case 403:
        return fail(problem, exit_refused, "the token may not do that: " + detail);
    case 404:
        return fail(problem, exit_no_driver,
                    "the gateway has no router " + in_quotes(call.place.name) +
                        " for this token (\"list\" shows those there are)");
    case 503:
        return fail(problem, exit_no_driver, detail);
    default:
        return fail(problem, exit_refused, "the gateway answers with an error: " + detail);
    }
}

int ask_through_gateway(const invocation& call, const char* method, const std::string& path,
                        const std::string& body, std::uint64_t wait_us, gateway_json* answer, bool* sent,
                        std::string* problem) {
    gateway_reply reply;
    if (!ask_gateway(*call.gateway, method, path, body, rounded_up(wait_us), &reply, sent, problem))
        return exit_no_driver;
    if (reply.status != 200) {
        *sent = false; // a refusal is about all of it
        return gateway_refusal(call, reply.status, reply.body, problem);
    }
    *answer = gateway_json::parse(reply.body, nullptr, false);
    if (!answer->is_object())
        return fail(problem, exit_no_driver, "what answers there is no gateway");
    return exit_done;
}

int ask_gateway_picture(const invocation& call, vrdx::router_picture* picture, std::string* problem) {
    gateway_json answer;
    bool sent = false;
    const int result =
        ask_through_gateway(call, "GET", gateway_path(call), "", call.timeout_us, &answer, &sent, problem);
    if (result != exit_done)
        return result;
    if (!read_picture(answer, picture))
        return fail(problem, exit_no_driver, "what answers there is no gateway");
    const gateway_state state = state_in(answer);
    if (!is_true_now(state))
        return fail(problem, exit_no_driver, state.word + ": " + state.reason);
    return exit_done;
}
