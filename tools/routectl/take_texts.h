// Takes in words for people: who did it, and what became of it.
#pragma once

#include "client_take.h"

#include <cstdint>
#include <string>

// The user's name, or "user 1000" when there is none.
std::string user_name(std::uint64_t user);

// From now on users are shown by their numbers: those of another machine have other names here, or none.
void show_users_as_numbers();

// "first_user (desk 3)"; "first_user" without a `by`.
std::string person_text(std::uint64_t user, const std::string& by);

// The same for the driver's text "USER PROCESS", with " BY" behind it or not. Any other text is returned as
// it is.
std::string person_in(const std::string& text);

// "confirmed", "shows 3 "Cam 3" instead", "refused: no backend", "replaced by a later take of first_user",
// ...
std::string result_text(const vrdx::take_result& result, const vrdx::router_picture& picture);
