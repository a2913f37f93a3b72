// Locks of outputs, which clients see and set as the property "lock".
#pragma once

#include "session.h"

// Handles "router set": of an output, "lock" is "own" or "free". Everything else is logged and skipped.
void set_properties(session& session, const std::vector<endpoint_property>& properties);

// The router has told of a lock.
void hear_lock(session& session, const reply& lock);

// The router has answered a lock command of ours. An empty `refusal`: it has done it.
void finish_lock(session& session, const router_command& lock, const std::string& refusal);
