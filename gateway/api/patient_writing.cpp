// Locks and logins are written to the disk, and all wait for that: how often each may ask for it, and what is
// done while another program writes.
#include "gateway/settings/limits.h"
#include "handlers.h"
#include "problem.h"
#include "time_text.h"

namespace gateway {

namespace {

void attempt_until(api_world& world, const std::function<bool(bool)>& attempt, std::uint64_t end_ms) {
    const bool last = steady_ms() + busy_retry_ms > end_ms;
    if (!attempt(last) && !last)
        world.later(busy_retry_ms, [&world, attempt, end_ms] { attempt_until(world, attempt, end_ms); });
}

} // namespace

std::optional<reply> too_many_writes(api_world& world, const token& who) {
    const std::uint64_t wait_ms = world.writes.ask(who.id, steady_ms());
    if (wait_ms == 0)
        return {};
    const std::uint64_t seconds = (wait_ms + 999) / 1000;
    return too_much_reply("This token has asked for too many locks and sessions; possible are " +
                              std::to_string(1000 / write_refill_ms) + " a second. Try again in " +
                              std::to_string(seconds) + " seconds.",
                          seconds);
}

void write_patiently(api_world& world, const std::function<bool(bool last)>& attempt) {
    attempt_until(world, attempt, steady_ms() + busy_time_limit_ms);
}

} // namespace gateway
