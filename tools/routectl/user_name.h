// Who did something, for people.
#pragma once

#include "client_picture.h"

#include <cstdint>
#include <string>

// The user's name, or the number when there is none.
std::string user_name(std::uint64_t user);

// From now on users are shown by their numbers: those of another machine have other names here, or none.
void show_users_as_numbers();

// "alice (desk 3)"; "alice" without a `by`.
std::string person_text(std::uint64_t user, const std::string& by);

// The driver's "USER PROCESS" and perhaps " BY", as person_text. What is no such text stays as it is.
std::string person_in(const std::string& text);
