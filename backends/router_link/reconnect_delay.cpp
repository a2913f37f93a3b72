#include "reconnect_delay.h"

#include <algorithm>

std::uint64_t next_reconnect_delay(reconnect_delay& delay, double chance) {
    const std::uint64_t doubled = delay.nominal_us == 0 ? delay.first_us : delay.nominal_us * 2;
    delay.nominal_us = std::min(doubled, delay.longest_us);
    const double shortened = static_cast<double>(delay.nominal_us) / 4 * std::clamp(chance, 0.0, 1.0);
    return delay.nominal_us - static_cast<std::uint64_t>(shortened);
}

void reset_reconnect_delay(reconnect_delay& delay) {
    delay.nominal_us = 0;
}
