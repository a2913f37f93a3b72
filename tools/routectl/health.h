// What is wrong with a router, in short.
#pragma once

#include "client_picture.h"

#include <string>
#include <vector>

// "running", "starting", "none", "unknown"
const char* backend_word(vrdx::backend_state state);
// "up", "down", "unknown"
const char* link_word(vrdx::link_state state);

// What is wrong, a short line each, empty when nothing is: the backend, its link, no router, the item file.
// `item` is the path of the item file, empty when it is not known.
std::vector<std::string> problems_of(const vrdx::router_picture& picture, const std::string& item);

// "12 min ago: TEXT", the driver's newest error; empty for none.
std::string last_error_of(const vrdx::router_picture& picture);

// True when the newest error is too old to be shown if nothing else is wrong.
bool is_old_error(const vrdx::router_picture& picture);

// How many outputs show a take that the router has not confirmed.
std::size_t waiting_takes(const vrdx::router_picture& picture);

// "HEAD: TEXT", or "HEAD" when the text is empty.
std::string with_text(const std::string& head, const std::string& text);
