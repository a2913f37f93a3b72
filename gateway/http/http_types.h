// What is asked and answered over HTTP, without a word about how it came.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

namespace gateway {

// One request as its head says it. Texts are as they came, unless said otherwise.
struct request {
    std::string method; // "GET", "PUT", ...
    std::string path;   // decoded, UTF-8, begins with '/', has no "." or ".." in it
    std::vector<std::pair<std::string, std::string>> query;   // decoded, in order
    std::vector<std::pair<std::string, std::string>> headers; // names in small letters
    std::string peer; // numeric address of the other end of the connection
    bool over_tls = false;
    bool upgrade = false; // asks for a WebSocket, and does so rightly
    bool has_body = false;
    std::optional<std::uint64_t> body_bytes; // announced; none for a body in chunks

    // Value of the first header of this name (small letters); none when there is none.
    std::optional<std::string_view> header(std::string_view name) const;
    // Value of the first query item of this name; none when there is none.
    std::optional<std::string_view> query_value(std::string_view name) const;
};

struct reply {
    unsigned status = 200;
    std::string content_type;                // empty: no such header
    std::shared_ptr<const std::string> body; // null: none. Never copied, so many replies may share it
    std::vector<std::pair<std::string, std::string>> headers;
    std::chrono::milliseconds delay{0}; // how long the peer has to wait for it
};

using answer_function = std::function<void(reply)>;

// A request that may go on: its body is read, up to body_limit bytes, and handed to `serve` with what to call
// once, then or later. After the call with a body nothing of the request is kept here.
struct accepted_request {
    std::size_t body_limit = 0;
    std::function<void(std::string body, answer_function answer)> serve;
};

using request_verdict = std::variant<reply, accepted_request>;

} // namespace gateway
