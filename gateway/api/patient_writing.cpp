// Locks and logins are written to the disk, and all wait for that: how often each may ask for it, and what is
// done while another program writes.
#include "api.h"
#include "gateway/settings/limits.h"
#include "handlers.h"
#include "problem.h"
#include "time_text.h"

namespace gateway {

namespace {

struct patient_write {
    incoming_call incoming;
    answer_function answer;
    std::function<bool(bool last)> attempt;
    std::uint64_t end_ms;
};

void attempt_again(api_world& world, const patient_write& wish) {
    const bool last = steady_ms() + busy_retry_ms > wish.end_ms;
    if (wish.attempt(last) || last)
        return;
    world.later(busy_retry_ms, [&world, wish] {
        // The other program may have taken away what allowed it.
        if (std::optional<reply> refusal = check_head(world, wish.incoming.get()))
            return wish.answer(std::move(*refusal));
        attempt_again(world, wish);
    });
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

void write_patiently(api_world& world, const incoming_call& incoming, const answer_function& answer,
                     const std::function<bool(bool last)>& attempt) {
    attempt_again(world, {incoming, answer, attempt, steady_ms() + busy_time_limit_ms});
}

} // namespace gateway
