// How inputs and outputs are entered into a picture. For this library alone.
#pragma once

#include "client_picture.h"

#include <string_view>

namespace vrdx {

// Sets the sizes, within the limits. Inputs and outputs that stay keep what is known of them.
void resize_places(router_picture* picture, std::size_t inputs, std::size_t outputs);

// Enters an entry about an input or output, and notes its number in *news. False when the entry is about
// something else. An entry about an input or output that does not exist, or was not told before, is skipped.
bool enter_place(router_picture* picture, std::string_view name, std::string_view value, picture_news* news);

// An epoch: 16 hexadecimal digits.
bool is_epoch(std::string_view text);

// "USER PROCESS" and perhaps " BY".
last_taker taker_in(std::string_view text);

} // namespace vrdx
