// Requests that reach the driver together.
#pragma once

#include "test_client.h"

#include <string>
#include <vector>

// The replies that stand in `bytes`, all whole. Throws when something else stands there.
std::vector<test_reply> replies_in(std::string bytes);

// Sends the requests in one piece on a connection of its own, closes its sending side, and reads until the
// driver closes too. Up to eight small requests are handled in one turn of the driver, with nothing between
// them.
std::vector<test_reply> ask_at_once(const std::string& socket_path, const std::vector<std::string>& requests);
