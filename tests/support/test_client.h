// A client of the driver's socket.
#pragma once

#include "comm_socket_v4_connection.h"
#include "wait_until.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

using name_values = std::vector<std::pair<std::string, std::string>>;

struct test_reply {
    std::string command;
    std::uint64_t result = 0;
    std::vector<std::string> arguments{};
    name_values entries{};

    // The value of the first entry of this name; "(none)" when there is none.
    [[nodiscard]] std::string entry(std::string_view name) const;
};

class test_client {
public:
    // Connects, waiting for the socket to appear and be served.
    explicit test_client(const std::string& socket_path);
    ~test_client();
    test_client(const test_client&) = delete;
    test_client& operator=(const test_client&) = delete;

    [[nodiscard]] int fd() const {
        return connection_.fd;
    }

    // Sends one request and waits for its reply. Throws when none comes in time.
    test_reply request(const std::string& command, const std::vector<std::string>& arguments = {},
                       const name_values& entries = {});
    test_reply status() {
        return request("status");
    }
    test_reply route(const std::string& take) {
        return request("route", {take});
    }

    // The bytes as they are, waiting for room. False when the driver has closed the connection.
    bool send_bytes(std::string_view bytes) const;
    // What the driver sends until it closes the connection. Throws when it does not.
    [[nodiscard]] std::string read_until_closed() const;

private:
    comm_socket_v4_connection connection_;
};

// The bytes of a request, for tests that send them their own way.
std::string request_bytes(const std::string& command, const std::vector<std::string>& arguments = {},
                          const name_values& entries = {});

// Asks until the status shows `value` in the entry `name`.
void wait_for_status(test_client& client, const std::string& name, const std::string& value);
