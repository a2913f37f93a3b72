#include "pipelined_requests.h"

#include "asking_client.h"

#include <stdexcept>
#include <sys/socket.h>

std::vector<test_reply> replies_in(std::string bytes) {
    std::vector<test_reply> replies = take_packets_off(bytes);
    if (!bytes.empty())
        throw std::runtime_error("the last packet is not whole");
    return replies;
}

std::vector<test_reply> ask_at_once(const std::string& socket_path,
                                    const std::vector<std::string>& requests) {
    const test_client client(socket_path);
    std::string bytes;
    for (const std::string& request : requests)
        bytes += request;
    if (!client.send_bytes(bytes) || shutdown(client.fd(), SHUT_WR) != 0)
        throw std::runtime_error("the driver closed the connection before it was asked");
    return replies_in(client.read_until_closed());
}
