// In which of two formats figures are wanted.
#pragma once

#include <string_view>

namespace gateway {

enum class metrics_format {
    plain, // Prometheus text, version 0.0.4
    open,  // OpenMetrics 1.0.0
};

const char* content_type_of(metrics_format format);

// What the value of a header Accept wants most; "" and what names neither of them: plain.
metrics_format wanted_format(std::string_view accept);

} // namespace gateway
