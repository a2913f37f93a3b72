// The token command is mostly run by root, the gateway as a user of its own: what root writes must stay the
// gateway's.
#pragma once

#include <string>

namespace gateway {

// Run as root: acts from now on as the owner of that directory (effective group, groups and user). Does
// nothing for anybody else, or when the directory is not there yet. False and a sentence in *problem when the
// system refuses.
bool act_as_owner_of(const std::string& directory, std::string* problem);

// Acts again as the user who started the program.
void act_as_caller();

} // namespace gateway
