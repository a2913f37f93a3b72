// A router that is reached through a gateway, with the failures in the client's words.
#pragma once

#include "gateway_picture.h"
#include "invocation.h"

// The router's path in the gateway, with `rest` behind it: "/api/v1/routers/studio/takes".
std::string gateway_path(const invocation& call, const std::string& rest = {});

// `text` as a part of a path or query.
std::string percent_encoded(const std::string& text);

// What a refusal of the gateway means: the exit code, with *problem in one line.
int gateway_refusal(const invocation& call, unsigned status, const std::string& body, std::string* problem);

// Asks within `wait_us`. exit_done with *answer, or the exit code with *problem; *sent then says whether the
// gateway may have done it all the same.
int ask_through_gateway(const invocation& call, const char* method, const std::string& path,
                        const std::string& body, std::uint64_t wait_us, gateway_json* answer, bool* sent,
                        std::string* problem);

// Asks for the whole router. exit_done with *picture that is true now, else the exit code with *problem.
int ask_gateway_picture(const invocation& call, vrdx::router_picture* picture, std::string* problem);

// The part of the gateway in commands that have one of their own.
int run_list_of_gateway(const invocation& call);
int run_route_through_gateway(const invocation& call);
int run_watch_through_gateway(const invocation& call);
