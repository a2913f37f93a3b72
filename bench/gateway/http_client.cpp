#include "http_client.h"

#include <arpa/inet.h>
#include <netinet/tcp.h>
#include <stdexcept>
#include <sys/socket.h>
#include <unistd.h>
#include <utility>

int connect_to_port(unsigned short port) {
    const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (fd < 0 || connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0)
        throw std::runtime_error("nothing answers on port " + std::to_string(port));
    const int on = 1;
    setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof(on));
    const timeval patience{20, 0};
    setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof(patience));
    return fd;
}

void send_whole(int fd, std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t count = send(fd, bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (count < 0)
            throw std::runtime_error("a connection has ended");
        bytes.remove_prefix(static_cast<std::size_t>(count));
    }
}

http_client::http_client(unsigned short port, std::string token)
    : fd_(connect_to_port(port)), port_(port), token_(std::move(token)) {}

http_client::~http_client() {
    close(fd_);
}

void http_client::receive_some() {
    char chunk[65536];
    const ssize_t count = recv(fd_, chunk, sizeof(chunk), 0);
    if (count <= 0)
        throw std::runtime_error("an answer does not come");
    received_.append(chunk, static_cast<std::size_t>(count));
}

std::string http_client::ask(const std::string& method, const std::string& path, const std::string& body) {
    std::string request = method + " " + path + " HTTP/1.1\r\nHost: 127.0.0.1:" + std::to_string(port_) +
                          "\r\nAuthorization: Bearer " + token_ + "\r\n";
    if (!body.empty())
        request +=
            "Content-Type: application/json\r\nContent-Length: " + std::to_string(body.size()) + "\r\n";
    send_whole(fd_, request + "\r\n" + body);
    std::size_t head = 0;
    while ((head = received_.find("\r\n\r\n")) == std::string::npos)
        receive_some();
    const std::size_t field = received_.find("Content-Length: ");
    if (!received_.starts_with("HTTP/1.1 200") || field == std::string::npos || field > head)
        throw std::runtime_error("not answered with 200: " + received_.substr(0, 300));
    const std::size_t length = std::stoul(received_.substr(field + 16));
    while (received_.size() < head + 4 + length)
        receive_some();
    std::string answer = received_.substr(head + 4, length);
    received_.erase(0, head + 4 + length);
    return answer;
}
