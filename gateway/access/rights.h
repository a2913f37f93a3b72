// Who may what. The limits to outputs and inputs are about changes; who may see a router sees all of it.
//
// The *_problem functions return an empty text when it is allowed, else a sentence that says what is
// possible. None of them asks whether the router is there, or how large it is.
#pragma once

#include "token.h"

#include <span>

namespace gateway {

// False: for this token there is no such router.
bool may_see(const token& who, std::string_view router);

// Output and sources are 1-based; source 0 (none) is allowed to everybody who may take the output.
std::string take_problem(const token& who, std::string_view router, int output, std::span<const int> sources);

// lock, protect and unlock. Whose lock it is, lock_table looks at.
std::string lock_problem(const token& who, std::string_view router, int output);

std::string force_problem(const token& who, std::string_view router, int output);

// A name is seen by everybody: role lock, and the place has to be in the token's list.
std::string rename_problem(const token& who, std::string_view router, bool output, int number);

std::string admin_problem(const token& who);

// A token gives a new one no right that it does not have itself. Who asks without a token makes none: it
// would outlive the configuration that let him.
std::string grant_problem(const token& who, const token& wish);

} // namespace gateway
