// A client that sends requests without waiting, and finds packets as they come.
#pragma once

#include "test_client.h"

#include <functional>
#include <map>
#include <vector>

// Takes whole packets off the front of `bytes`.
std::vector<test_reply> take_packets_off(std::string& bytes);

class asking_client {
public:
    explicit asking_client(const std::string& socket_path) : client_(socket_path) {}

    [[nodiscard]] int fd() const {
        return client_.fd();
    }
    void send(const std::string& command, const std::vector<std::string>& arguments = {},
              const name_values& entries = {}) const;
    void send_bytes(const std::string& bytes) const;
    // One packet of "take" with this id.
    void take(const std::string& id, const std::vector<std::string>& takes, int within_ms = 60000) const {
        send("take", takes, {{"id", id}, {"within", std::to_string(within_ms)}});
    }

    // Waits for the answer of the take with this id. Throws when none comes.
    const test_reply& answer(const std::string& id);
    // Waits until a packet of this command has come; the oldest of them, removed.
    test_reply packet(const std::string& command);
    // Everything that came and that nobody asked for yet, without waiting; answers of takes are kept apart.
    std::vector<test_reply>& others();
    // The answers so far, by id; a second one with the same id is counted.
    const std::map<std::string, test_reply>& answers();
    [[nodiscard]] int answered_twice() const {
        return twice_;
    }
    [[nodiscard]] bool is_cut() const {
        return cut_;
    }

private:
    void read_what_came();
    void wait_for(const std::string& what, const std::function<bool()>& condition);

    test_client client_;
    std::string received_;
    std::vector<test_reply> others_;
    std::map<std::string, test_reply> answers_;
    int twice_ = 0;
    bool cut_ = false;
};
