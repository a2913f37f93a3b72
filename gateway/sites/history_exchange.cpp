#include "history_exchange.h"

#include "beats.h"
#include "gateway/audit/thread_without_signals.h"
#include "site_limits.h"

#include <algorithm>
#include <boost/asio/post.hpp>
#include <chrono>
#include <nats/nats.h>
#include <utility>

namespace gateway {

history_exchange::history_exchange(const site_settings& settings, place where)
    : settings_(settings), where_(std::move(where)),
      sender_(settings.site, where_.state_directory, where_.writer),
      receiver_(settings_, where_.state_directory, where_.writer,
                [this](const std::string& line) { print(line); }) {
    figures_.sends = settings.history;
    figures_.reads = settings.reads_history();
}

history_exchange::~history_exchange() {
    stop();
}

void history_exchange::start() {
    thread_ = thread_without_signals([this] { work(); });
}

void history_exchange::end() {
    *lives_ = false;
    {
        const std::scoped_lock lock(mutex_);
        ending_ = true;
    }
    changed_.notify_all();
}

void history_exchange::stop() {
    end();
    if (thread_.joinable())
        thread_.join();
}

exchange_figures history_exchange::figures() const {
    const std::scoped_lock lock(mutex_);
    return figures_;
}

// --- the thread --------------------------------------------------------------------------------------------

void history_exchange::work() {
    const std::string run = new_run();
    std::unique_ptr<broker_questions> broker;
    std::uint64_t pause_ms = history_retry_pause_ms;
    while (!is_ending()) {
        std::string problem;
        bool more = false;
        if (!broker || !broker->is_open())
            broker = broker_questions::connect(settings_, run, &problem);
        if (broker)
            more = step(*broker, &problem);
        note(problem);
        if (problem.empty()) {
            pause_ms = history_retry_pause_ms;
            if (!more)
                pause(history_look_period_ms);
            else if (sender_.sends_again())
                pause(history_again_pause_ms);
        } else {
            pause(pause_ms);
            pause_ms = std::min(pause_ms * 2, history_longest_pause_ms);
        }
    }
    broker.reset();
    nats_ReleaseThreadMemory();
}

// True when there is more to do at once.
bool history_exchange::step(broker_questions& broker, std::string* problem) {
    const ask_broker ask = [&](const std::vector<broker_question>& questions) {
        const auto ask_once = [&](const std::vector<broker_question>& each) {
            return broker.ask(each, history_ask_limit_ms);
        };
        return ask_service(ask_once, questions, &by_domain_);
    };
    if (!where_.writer.keeps())
        return false;
    bool more = false;
    std::string of_sending, of_reading;
    if (settings_.history)
        more = sender_.step(ask, &of_sending);
    if (settings_.reads_history() && !is_ending())
        more = receiver_.step(ask, &of_reading) || more;
    *problem = of_sending.empty() ? of_reading : of_sending;
    // A right that the broker does not give is told beside the question, which stays without an answer.
    if (!problem->empty())
        if (const std::string complaint = broker.complaint(); !complaint.empty())
            *problem += " (" + complaint + ')';
    return more;
}

// Told when it is another one than the last.
void history_exchange::note(const std::string& problem) {
    {
        const std::scoped_lock lock(mutex_);
        figures_.up = problem.empty();
        figures_.unsent = sender_.unsent();
        figures_.sent = sender_.sent();
        figures_.unread = receiver_.unread();
        figures_.read = receiver_.read();
    }
    if (std::exchange(told_, problem) == problem)
        return;
    print(problem.empty() ? "the history is exchanged with other sites again"
                          : "the history is not exchanged with other sites: " + problem);
    boost::asio::post(where_.loop, [this, lives = lives_, problem] {
        if (*lives)
            where_.note_problem(problem);
    });
}

void history_exchange::print(const std::string& line) {
    boost::asio::post(where_.loop, [this, lives = lives_, line] {
        if (*lives)
            where_.print(line);
    });
}

void history_exchange::pause(std::uint64_t ms) {
    std::unique_lock lock(mutex_);
    changed_.wait_for(lock, std::chrono::milliseconds(ms), [this] { return ending_; });
}

bool history_exchange::is_ending() const {
    const std::scoped_lock lock(mutex_);
    return ending_;
}

} // namespace gateway
