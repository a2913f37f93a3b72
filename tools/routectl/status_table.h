// The router as a table for people.
#pragma once

#include "client_picture.h"

#include <string>
#include <vector>

// One line with the router's size, the heads of the columns, and a line for each of these outputs (numbers
// from 1): number, name, the source (on a router with separate levels the audio and the video source), and
// how long a take still waits for its confirmation. No line is wider than `width` (at least 40) columns: wide
// names are cut. `bold` marks the heads.
std::string status_table(const vrdx::router_picture& picture, const std::vector<int>& outputs,
                         std::size_t width, bool bold);
