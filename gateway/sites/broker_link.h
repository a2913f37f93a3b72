// The connection to the broker, which a thread of its own makes and writes to: neither a slow broker nor one
// that stands still holds the loop up.
//
// A connection that ended is not mended but made anew: nothing of the old one is sent on the new one. One on
// which this site does not hear its own beats any more is ended.
#pragma once

#include "gateway/settings/site_settings.h"
#include "incoming_messages.h"
#include "outgoing_messages.h"

#include <condition_variable>
#include <thread>

namespace gateway {

struct broker_handlers {
    // From the loop: a message, each time the connection begins or has ended, and what there is to log.
    std::function<void(const site_message&)> hear;
    std::function<void(bool connected)> connected;
    std::function<void(const std::string&)> print;
};

class broker_link final : public message_way {
public:
    broker_link(boost::asio::io_context& loop, site_settings settings, std::vector<heard_subject> subjects,
                broker_handlers handlers);
    ~broker_link() override;
    broker_link(const broker_link&) = delete;
    broker_link& operator=(const broker_link&) = delete;

    void start();
    // Nothing is heard any more, and the thread ends soon.
    void end();
    // end(), and waits for the thread, a second at the most for each server.
    void stop();

    [[nodiscard]] bool is_connected() const override {
        return connected_;
    }
    [[nodiscard]] bool has_room_for_page() const override;
    bool send(site_message message) override;

private:
    struct connection;
    void work();
    std::unique_ptr<connection> connect(std::string* problem);
    void write_until_it_ends(connection& to);
    void tell(bool connected, const std::string& line);
    void pause(std::uint64_t ms);

    boost::asio::io_context& loop_;
    site_settings settings_;
    std::vector<heard_subject> subjects_;
    broker_handlers handlers_;
    std::shared_ptr<incoming_messages> incoming_;
    std::shared_ptr<bool> lives_ = std::make_shared<bool>(true); // of the loop alone
    bool connected_ = false;                                     // of the loop alone

    std::thread thread_;
    mutable std::mutex mutex_; // of what follows
    std::condition_variable changed_;
    outgoing_messages outgoing_;
    bool open_ = false; // the thread has a connection, and sends
    bool ending_ = false;
};

} // namespace gateway
