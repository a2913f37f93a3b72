// All that can be asked for, in one table. Dispatch, rights and the OpenAPI document are read from it.
#pragma once

#include "call.h"

#include <span>

namespace gateway {

struct documented_reply {
    unsigned status;
    const char* schema; // of the document's components; "" for an answer without a JSON body
    const char* text;
};

struct route {
    const char* operation; // unique; "" for what is no part of the API, such as pages
    const char* method;
    const char* path; // {router} and {number} stand for one part each
    role least;       // role::none: public
    const char* summary;
    const char* request_schema; // "" when no body is read
    std::size_t body_limit;
    std::vector<documented_reply> replies;
    handler handle;
};

std::span<const route> all_routes();

// "bad request", "not allowed" and so on: what a route may answer beside its own replies, by how it is made.
std::vector<documented_reply> common_replies(const route& row);

struct found_route {
    const route* row = nullptr; // null: no such path, or not with this method
    std::vector<std::string> parts;
    std::string allowed; // methods of the path, as in "GET, HEAD"; empty: no such path
};

// HEAD is found as GET.
found_route find_route(std::string_view method, std::string_view path);

} // namespace gateway
