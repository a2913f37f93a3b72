// What this process needs of its machine.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

namespace gateway {

struct process_figures {
    std::optional<std::uint64_t> resident_bytes; // none: the system does not tell
    std::optional<std::size_t> open_descriptors;
    double processor_s = 0;
};

process_figures figures_of_this_process();

} // namespace gateway
