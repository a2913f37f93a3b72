// A connection to a program on loopback, and requests on it, one after the other.
#pragma once

#include <string>
#include <string_view>

// Connected, blocking, without delay; throws.
int connect_to_port(unsigned short port);
// All of it; throws.
void send_whole(int fd, std::string_view bytes);

class http_client {
public:
    explicit http_client(unsigned short port, std::string token = "");
    ~http_client();
    http_client(const http_client&) = delete;
    http_client& operator=(const http_client&) = delete;

    // The body of the answer; throws when its status is not 200.
    std::string ask(const std::string& method, const std::string& path, const std::string& body = "");

private:
    void receive_some();

    int fd_;
    unsigned short port_;
    std::string token_;
    std::string received_;
};
