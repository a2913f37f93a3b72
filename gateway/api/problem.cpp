#include "problem.h"

#include "json_reply.h"

#include <algorithm>
#include <array>

namespace gateway {

namespace {

struct title {
    unsigned status;
    std::string_view text;
};

constexpr std::array titles{
    title{400, "Bad Request"},
    title{401, "Unauthorized"},
    title{403, "Forbidden"},
    title{404, "Not Found"},
    title{405, "Method Not Allowed"},
    title{408, "Request Timeout"},
    title{409, "Conflict"},
    title{413, "Content Too Large"},
    title{415, "Unsupported Media Type"},
    title{417, "Expectation Failed"},
    title{422, "Unprocessable Content"},
    title{426, "Upgrade Required"},
    title{429, "Too Many Requests"},
    title{431, "Request Header Fields Too Large"},
    title{500, "Internal Server Error"},
    title{503, "Service Unavailable"},
};

} // namespace

std::string_view status_title(unsigned status) {
    const auto* found =
        std::find_if(titles.begin(), titles.end(), [&](const title& each) { return each.status == status; });
    return found == titles.end() ? "Error" : found->text;
}

reply problem_reply(unsigned status, std::string_view sentence) {
    reply answer = json_reply(
        status,
        {{"type", "about:blank"}, {"title", status_title(status)}, {"status", status}, {"detail", sentence}});
    answer.content_type = "application/problem+json";
    return answer;
}

reply too_much_reply(const std::string& detail, std::uint64_t seconds) {
    reply answer = problem_reply(429, detail);
    answer.headers.emplace_back("Retry-After", std::to_string(seconds));
    return answer;
}

} // namespace gateway
