#include "json_reply.h"

namespace gateway {

std::string json_text(const json& value) {
    return value.dump(-1, ' ', false, json::error_handler_t::replace);
}

reply json_reply(unsigned status, const json& value) {
    reply answer;
    answer.status = status;
    answer.content_type = "application/json";
    answer.body = std::make_shared<const std::string>(json_text(value));
    answer.headers.emplace_back("Cache-Control", "no-store");
    answer.headers.emplace_back("X-Content-Type-Options", "nosniff");
    return answer;
}

} // namespace gateway
