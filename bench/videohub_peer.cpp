#include "videohub_peer.h"

#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <stdexcept>
#include <sys/socket.h>
#include <unistd.h>
#include <vector>

namespace {

struct peer_client {
    int fd;
    std::string text; // not yet a whole block
};

sockaddr_in loopback(std::uint16_t port) {
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(port);
    return address;
}

void say(int fd, const std::string& text) {
    static_cast<void>(send(fd, text.data(), text.size(), MSG_NOSIGNAL)); // a client that is gone shows below
}

std::string whole_state(int size) {
    const std::string count = std::to_string(size);
    std::string text =
        "PROTOCOL PREAMBLE:\nVersion: 2.8\n\nVIDEOHUB DEVICE:\nDevice present: true\nVideo inputs: " + count +
        "\nVideo outputs: " + count + "\n\n";
    for (const char* header : {"INPUT LABELS:\n", "OUTPUT LABELS:\n", "VIDEO OUTPUT ROUTING:\n"}) {
        text += header;
        for (int number = 0; number < size; ++number)
            text += std::to_string(number) + " " + std::to_string(number) + "\n";
        text += "\n";
    }
    return text + "END PRELUDE:\n\n";
}

// False when the client is gone.
bool serve_client(peer_client& client) {
    char bytes[4096];
    const ssize_t count = read(client.fd, bytes, sizeof bytes);
    if (count <= 0)
        return false;
    client.text.append(bytes, static_cast<std::size_t>(count));
    for (auto end = client.text.find("\n\n"); end != std::string::npos; end = client.text.find("\n\n")) {
        const std::string block = client.text.substr(0, end + 2);
        client.text.erase(0, end + 2);
        say(client.fd, "ACK\n\n");
        if (block.starts_with(
                "VIDEO")) // its kernel holds this back until the client's has acknowledged the ACK
            say(client.fd, block);
    }
    return true;
}

} // namespace

std::string videohub_take(int output, int input) {
    return "VIDEO OUTPUT ROUTING:\n" + std::to_string(output) + " " + std::to_string(input) + "\n\n";
}

int connect_to_peer(std::uint16_t port) {
    const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const sockaddr_in address = loopback(port);
    if (connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0)
        throw std::runtime_error("cannot connect to the emulated router");
    const int on = 1;
    setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    return fd;
}

videohub_peer::videohub_peer(int size)
    : greeting_(whole_state(size)), listener_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in address = loopback(0);
    socklen_t bytes = sizeof address;
    if (bind(listener_, reinterpret_cast<const sockaddr*>(&address), bytes) != 0 ||
        listen(listener_, 8) != 0 ||
        getsockname(listener_, reinterpret_cast<sockaddr*>(&address), &bytes) != 0 ||
        pipe2(stop_, O_CLOEXEC) != 0)
        throw std::runtime_error("cannot listen as the emulated router");
    port_ = ntohs(address.sin_port);
    thread_ = std::thread(&videohub_peer::serve, this);
}

videohub_peer::~videohub_peer() {
    close(stop_[1]);
    thread_.join();
    close(stop_[0]);
    close(listener_);
}

void videohub_peer::serve() {
    std::vector<peer_client> clients;
    while (true) {
        std::vector<pollfd> waits = {{stop_[0], POLLIN, 0}, {listener_, POLLIN, 0}};
        for (const peer_client& client : clients)
            waits.push_back({client.fd, POLLIN, 0});
        poll(waits.data(), waits.size(), -1);
        if (waits[0].revents != 0)
            break;
        for (std::size_t i = clients.size(); i-- > 0;) {
            if (waits[i + 2].revents != 0 && !serve_client(clients[i])) {
                close(clients[i].fd);
                clients.erase(clients.begin() + static_cast<std::ptrdiff_t>(i));
            }
        }
        if (waits[1].revents != 0) {
            clients.push_back({accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC), ""});
            say(clients.back().fd, greeting_);
        }
    }
    for (const peer_client& client : clients)
        close(client.fd);
}
