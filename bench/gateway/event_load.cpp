#include "event_load.h"

#include "../measure.h"
#include "http_client.h"

#include <arpa/inet.h>
#include <charconv>
#include <fstream>
#include <stdexcept>
#include <sys/socket.h>
#include <unistd.h>

namespace {

constexpr double changes_apart_ms = 20; // 50 a second
constexpr double patience_ms = 60000;

// Reads on until so many messages that count were heard.
template<typename condition>
void read_until(event_crowd& crowd, const event_crowd::hearing& hear, const condition& done) {
    for (const std::uint64_t end = clock_ns() + static_cast<std::uint64_t>(patience_ms * 1e6); !done();) {
        if (clock_ns() > end)
            throw std::runtime_error("not all readers hear all messages");
        crowd.read(2, hear);
    }
}

// The N of "router":"rN", from 0.
std::size_t router_in(std::string_view text) {
    constexpr std::string_view before = R"("router":"r)";
    std::size_t number = 0;
    if (const std::size_t found = text.find(before); found != std::string_view::npos)
        std::from_chars(text.data() + found + before.size(), text.data() + text.size(), number);
    if (number == 0)
        throw std::runtime_error("a message names no router: " + std::string(text.substr(0, 200)));
    return number - 1;
}

bool is_of_type(std::string_view text, std::string_view type) {
    return text.find(std::string(R"("type":")").append(type) + '"') != std::string_view::npos;
}

unsigned short free_port() {
    const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof(address);
    bind(fd, reinterpret_cast<const sockaddr*>(&address), size);
    getsockname(fd, reinterpret_cast<sockaddr*>(&address), &size);
    close(fd);
    return ntohs(address.sin_port);
}

double milliseconds_since(std::uint64_t begun) {
    return static_cast<double>(clock_ns() - begun) / 1e6;
}

} // namespace

gateway_readers::gateway_readers(const driver_fleet& fleet, const running_gateway& gateway, std::size_t count)
    : fleet_(fleet), gateway_(gateway), readers_(count), crowd_(unwrap_websocket) {
    for (std::size_t at = 0; at < count; ++at)
        crowd_.add(begin_websocket(gateway.port(), gateway.token(), "/api/v1/events"));
    std::size_t pictures = 0;
    read_until(
        crowd_, [&](std::string_view text) { pictures += is_of_type(text, "picture") ? 1 : 0; },
        [&] { return pictures >= count * fleet.size(); });
}

fan_figures gateway_readers::changes(std::size_t count) {
    fan_figures figures{};
    const auto hear = [&](std::string_view text) {
        if (!is_of_type(text, "change"))
            return;
        figures.milliseconds.push_back(milliseconds_since(fleet_.board(router_in(text)).report_begun));
        figures.bytes = text.size();
    };
    const double cpu_before = cpu_ns(gateway_.pid());
    for (std::size_t at = 0; at < count; ++at) {
        fleet_.change(at % fleet_.size());
        crowd_.read(changes_apart_ms, hear);
        // Two changes that a busy driver reads in one pass would be one, or none.
        read_until(crowd_, hear, [&] { return figures.milliseconds.size() > at * readers_; });
    }
    read_until(crowd_, hear, [&] { return figures.milliseconds.size() >= count * readers_; });
    figures.cpu_us = (cpu_ns(gateway_.pid()) - cpu_before) / static_cast<double>(count) / 1000;
    return figures;
}

broker_readers::broker_readers(const work_directory& directory, std::size_t count)
    : readers_(count), crowd_(unwrap_mqtt) {
    const unsigned short port = free_port();
    const std::string file = directory.file("mosquitto.conf");
    std::ofstream(file) << "listener " << port << " 127.0.0.1\nallow_anonymous true\npersistence false\n"
                        << "log_dest none\nset_tcp_nodelay true\n";
    broker_ = std::make_unique<running_program>(std::vector<std::string>{"mosquitto", "-c", file});
    for (const std::uint64_t begun = clock_ns(); publisher_ < 0;) {
        try {
            publisher_ = begin_mqtt(port, "");
        } catch (const std::runtime_error&) {
            if (milliseconds_since(begun) > patience_ms)
                throw;
            sleep_ms(5);
        }
    }
    for (std::size_t at = 0; at < count; ++at)
        crowd_.add(begin_mqtt(port, "changes"));
}

broker_readers::~broker_readers() {
    close(publisher_);
}

fan_figures broker_readers::messages(std::size_t count, std::size_t bytes) {
    fan_figures figures{};
    figures.bytes = bytes;
    const std::string packet = mqtt_publish("changes", std::string(bytes, 'x'));
    std::uint64_t begun = 0;
    const auto hear = [&](std::string_view payload) {
        if (payload.size() == bytes)
            figures.milliseconds.push_back(milliseconds_since(begun));
    };
    const double cpu_before = cpu_ns(broker_->pid());
    for (std::size_t at = 0; at < count; ++at) {
        begun = clock_ns();
        send_whole(publisher_, packet);
        crowd_.read(changes_apart_ms, hear);
    }
    read_until(crowd_, hear, [&] { return figures.milliseconds.size() >= count * readers_; });
    figures.cpu_us = (cpu_ns(broker_->pid()) - cpu_before) / static_cast<double>(count) / 1000;
    return figures;
}
