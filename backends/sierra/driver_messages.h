// What is done with the driver's messages.
#pragma once

#include "session.h"

// Handles one message. What it returns is new about the settings: at changed_part::line the connection is to
// be made anew. Malformed messages and takes that cannot be are logged and skipped.
changed_part handle_driver_message(session& session, const TavrixAPIRouterMessage& message, std::uint64_t now,
                                   reaction& reaction);
