// Up to which time (microseconds since 1970) entries of other sites were removed for want of room or for
// their age, of each share. What is sent once more does not come back then.
#pragma once

#include "history_entry.h"

namespace gateway {

inline std::string trimmed_place(entry_share share) {
    return "trimmed " + std::to_string(static_cast<int>(share));
}

} // namespace gateway
