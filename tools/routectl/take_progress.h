// Waiting for the answer to takes, with a line that tells how far they are.
#pragma once

#include "client_take.h"

// As vrdx::take_until(). While many takes are on their way and standard error is a terminal, a line there
// counts those that are decided.
vrdx::outcome take_with_progress(vrdx::driver_connection* connection, const vrdx::take_order& order,
                                 vrdx::take_answer* answer, std::uint64_t deadline);
