// Readers of a stream of messages, as many as wanted: of a gateway's events (WebSocket), or of a broker's
// topic (MQTT 3.1.1).
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

// What a message is wrapped in. Finds the first whole message of `bytes`: its payload, and how many bytes it
// takes with what is around it; 0: not whole yet.
using unwrapping = std::size_t (*)(std::string_view bytes, std::string_view* payload);
std::size_t unwrap_websocket(std::string_view bytes, std::string_view* payload);
std::size_t unwrap_mqtt(std::string_view bytes, std::string_view* payload);

// Connected, and the stream begun; both throw.
int begin_websocket(unsigned short port, const std::string& token, const std::string& path);
int begin_mqtt(unsigned short port, const std::string& topic); // "": for publishing
std::string mqtt_publish(const std::string& topic, const std::string& payload);

class event_crowd {
public:
    using hearing = std::function<void(std::string_view payload)>;

    explicit event_crowd(unwrapping unwrap);
    ~event_crowd();
    event_crowd(const event_crowd&) = delete;
    event_crowd& operator=(const event_crowd&) = delete;

    // Takes the connection over.
    void add(int fd);
    // Reads what comes within so long, and hands each message to `hear`.
    void read(double milliseconds, const hearing& hear);

private:
    struct reader {
        int fd;
        std::string received;
    };
    void read_one(reader& one, const hearing& hear);

    unwrapping unwrap_;
    std::vector<reader> readers_;
    int epoll_fd_;
};
