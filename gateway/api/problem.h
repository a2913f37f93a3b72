// Answers to what cannot be done: application/problem+json.
#pragma once

#include "gateway/http/http_types.h"

namespace gateway {

// `sentence` says what is wrong and what is possible; bytes that are no UTF-8 are replaced. Status from 400
// on.
reply problem_reply(unsigned status, std::string_view sentence);

// 429: what is too much, and after how many seconds it may be asked again.
reply too_much_reply(const std::string& detail, std::uint64_t seconds);

// "Not Found" and the like.
std::string_view status_title(unsigned status);

} // namespace gateway
