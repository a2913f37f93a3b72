// Takes of the simulated router: at once or after its delay, unless they have expired by then.
#include "simulator.h"

namespace {

constexpr int video_level = 0;
constexpr int audio_level = 1;

// The driver would mistake the old source of an output for the answer to its take.
void await_delayed(simulator& simulator) {
    simulator.driver.awaited.clear();
    for (const auto& [due, batch] : simulator.delayed) {
        for (const endpoint_take& take : batch.takes) {
            const int level = take.level == endpoint_level::audio ? audio_level : video_level;
            await_take(simulator.driver.awaited, take.output, level, take.source, never_expires);
        }
    }
}

// Why the router does not switch; empty when it does.
std::string objection(const simulator& simulator, const endpoint_take& take) {
    return simulator.settings.refused_outputs.contains(take.output)
               ? "output " + std::to_string(take.output + 1) + " refuses to switch"
               : "";
}

void execute(simulator& simulator, const endpoint_takes& takes) {
    driver_side& driver = simulator.driver;
    std::size_t taken = 0;
    for (const endpoint_take& take : takes) {
        const std::string why = objection(simulator, take);
        if (!why.empty()) {
            warn(driver, why);
            driver.reports.push_back(refused_report(take, why));
            continue;
        }
        simulator.router_changed |= execute_take(simulator.router, take);
        // An output that already showed the source is told too: the operator waits for the confirmation.
        show_source(driver, take.output, take.level, take.source);
        ++taken;
    }
    add_log_line(driver.log, "INFO",
                 "took " + std::to_string(taken) + (taken == 1 ? " crosspoint" : " crosspoints"));
}

} // namespace

void switch_takes(simulator& simulator, const endpoint_takes& takes, std::uint64_t expires_us,
                  std::uint64_t now) {
    const auto delay = static_cast<std::uint64_t>(simulator.settings.delay_ms) * 1000;
    simulator.delayed.emplace(now + delay, delayed_takes{takes, expires_us});
    await_delayed(simulator);
    run_due_takes(simulator, now);
}

void run_due_takes(simulator& simulator, std::uint64_t now) {
    while (!simulator.delayed.empty() && simulator.delayed.begin()->first <= now) {
        const auto due = simulator.delayed.extract(simulator.delayed.begin());
        await_delayed(simulator);
        if (due.mapped().expires_us <= now) {
            refuse_takes(simulator.driver, due.mapped().takes, "came too late");
        } else {
            execute(simulator, due.mapped().takes);
        }
        report_news(simulator.driver);
    }
}

std::uint64_t next_due_time(const simulator& simulator) {
    return simulator.delayed.empty() ? never_expires : simulator.delayed.begin()->first;
}
