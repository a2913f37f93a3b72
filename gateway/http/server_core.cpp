#include "server_core.h"

#include <array>

namespace gateway {

const std::string& server_core::date() {
    const std::time_t now = std::time(nullptr);
    if (now != date_second_) {
        std::tm parts{};
        gmtime_r(&now, &parts);
        std::array<char, 64> text{};
        std::strftime(text.data(), text.size(), "%a, %d %b %Y %H:%M:%S GMT", &parts);
        date_ = text.data();
        date_second_ = now;
    }
    return date_;
}

} // namespace gateway
