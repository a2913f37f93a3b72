// A router's state, head and places as members of a message. For the texts of this folder.
#pragma once

#include "json_members.h"
#include "site_messages.h"

namespace gateway {

std::optional<router_state> router_state_of(const std::string& word);
vrdx::take_word take_word_of(const std::string& text);

json sources_array(const vrdx::level_sources& sources); // [audio, video]
vrdx::level_sources sources_of(const json& array);

json lock_object(const output_lock& lock);
output_lock lock_of(const json& object);

// State, reason, sizes and what the driver says of its whole.
void add_head(json* message, const router_excerpt& router);
json input_object(const vrdx::router_picture& picture, int number);
json output_object(const router_excerpt& router, int number);

// False when a number or size is beyond what a picture may have.
bool read_router(const json& message, told_router* router);

} // namespace gateway
