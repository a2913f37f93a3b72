// The least router that the Videohub backend can talk to: it acknowledges each take and tells it at once, in
// two writes, as routers do.
#pragma once

#include <cstdint>
#include <string>
#include <thread>

// Listens on a port of 127.0.0.1 from construction on, in a thread of its own; as many inputs as outputs.
class videohub_peer {
public:
    // Throws when it cannot listen.
    explicit videohub_peer(int size);
    ~videohub_peer();
    videohub_peer(const videohub_peer&) = delete;
    videohub_peer& operator=(const videohub_peer&) = delete;

    [[nodiscard]] std::uint16_t port() const {
        return port_;
    }

    // What it says to a client that connects.
    [[nodiscard]] const std::string& greeting() const {
        return greeting_;
    }

private:
    void serve();

    std::string greeting_;
    int listener_ = -1;
    int stop_[2] = {-1, -1}; // a pipe: closed to end the thread
    std::uint16_t port_ = 0;
    std::thread thread_;
};

// The block that asks for a take, and, without the acknowledgement, the one that tells it. Numbers from 0.
std::string videohub_take(int output, int input);

// A blocking connection to 127.0.0.1 that sends at once. Throws when there is none.
int connect_to_peer(std::uint16_t port);
