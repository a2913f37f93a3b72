// The thread that hands this site's history on to the broker, and reads those of others there. It has a
// connection of its own: nothing of it stands in the way of a take.
#pragma once

#include "history_receiver.h"

#include <boost/asio/io_context.hpp>
#include <condition_variable>
#include <mutex>
#include <thread>

namespace gateway {

struct exchange_figures {
    bool up = false;                    // it goes well
    std::uint64_t unsent = 0, sent = 0; // entries of this site
    std::uint64_t unread = 0, read = 0; // of others
    bool sends = false, reads = false;  // what of it is to be done at all
};

class history_exchange {
public:
    struct place {
        boost::asio::io_context& loop;
        std::string state_directory;
        history_writer& writer;
        // From the loop: why it does not go, each time that changes, "" when it goes again; what there is to
        // log.
        std::function<void(const std::string&)> note_problem;
        std::function<void(const std::string&)> print;
    };

    // All of it outlives it, and `settings`.
    history_exchange(const site_settings& settings, place where);
    ~history_exchange();
    history_exchange(const history_exchange&) = delete;
    history_exchange& operator=(const history_exchange&) = delete;

    void start();
    // The thread ends soon.
    void end();
    // end(), and waits for the thread, some seconds at the most.
    void stop();

    [[nodiscard]] exchange_figures figures() const;

private:
    void work();
    bool step(broker_questions& broker, std::string* problem);
    void note(const std::string& problem);
    void print(const std::string& line);
    void pause(std::uint64_t ms);
    [[nodiscard]] bool is_ending() const;

    const site_settings& settings_;
    place where_;
    std::shared_ptr<bool> lives_ = std::make_shared<bool>(true); // of the loop alone
    history_sender sender_;                                      // of the thread alone, as the next
    history_receiver receiver_;
    bool by_domain_ = false; // how the broker's service answers
    std::string told_;

    std::thread thread_;
    mutable std::mutex mutex_; // of what follows
    std::condition_variable changed_;
    exchange_figures figures_;
    bool ending_ = false;
};

} // namespace gateway
