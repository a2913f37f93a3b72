#include "event_crowd.h"

#include "../board.h"
#include "http_client.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cmath>
#include <stdexcept>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

constexpr char mqtt_publish_kind = 0x30;

unsigned byte_at(std::string_view bytes, std::size_t at) {
    return static_cast<unsigned char>(bytes[at]);
}

std::string mqtt_text(std::string_view text) {
    return {std::string{static_cast<char>(text.size() >> 8U), static_cast<char>(text.size() & 0xffU)}.append(
        text)};
}

std::string mqtt_packet(char kind, const std::string& content) {
    std::string packet(1, kind);
    for (std::size_t length = content.size(), more = 1; more != 0; length >>= 7U) {
        more = length >> 7U;
        packet += static_cast<char>((length & 0x7fU) | (more != 0 ? 0x80U : 0));
    }
    return packet + content;
}

void receive_whole(int fd, std::size_t bytes) {
    std::array<char, 16> answer{};
    for (std::size_t got = 0; got < bytes;) {
        const ssize_t count = recv(fd, answer.data(), std::min(answer.size(), bytes - got), 0);
        if (count <= 0)
            throw std::runtime_error("a stream of messages does not begin");
        got += static_cast<std::size_t>(count);
    }
}

} // namespace

std::size_t unwrap_websocket(std::string_view bytes, std::string_view* payload) {
    if (bytes.size() < 2)
        return 0;
    std::size_t length = byte_at(bytes, 1), head = 2;
    if (length >= 126) {
        head = length == 126 ? 4 : 10;
        if (bytes.size() < head)
            return 0;
        length = 0;
        for (std::size_t at = 2; at < head; ++at)
            length = length << 8U | byte_at(bytes, at);
    }
    if (bytes.size() < head + length)
        return 0;
    *payload = bytes.substr(head, length);
    return head + length;
}

std::size_t unwrap_mqtt(std::string_view bytes, std::string_view* payload) {
    std::size_t length = 0, at = 1;
    for (unsigned shift = 0;; ++at, shift += 7) {
        if (bytes.size() <= at)
            return 0;
        length |= std::size_t{byte_at(bytes, at) & 0x7fU} << shift;
        if (byte_at(bytes, at) < 0x80)
            break;
    }
    const std::size_t head = at + 1;
    if (bytes.size() < head + length)
        return 0;
    const std::size_t topic = bytes[0] == mqtt_publish_kind && length > 2
                                  ? (byte_at(bytes, head) << 8U | byte_at(bytes, head + 1)) + 2
                                  : length;
    *payload = bytes.substr(head + topic, length - topic);
    return head + length;
}

int begin_websocket(unsigned short port, const std::string& token, const std::string& path) {
    const int fd = connect_to_port(port);
    send_whole(fd, "GET " + path + " HTTP/1.1\r\nHost: 127.0.0.1:" + std::to_string(port) +
                       "\r\nUpgrade: websocket\r\nConnection: Upgrade\r\nSec-WebSocket-Version: 13\r\n"
                       "Sec-WebSocket-Key: MDEyMzQ1Njc4OWFiY2RlZg==\r\nAuthorization: Bearer " +
                       token + "\r\n\r\n");
    std::string head;
    while (!head.ends_with("\r\n\r\n")) { // what comes behind it is the stream's
        char letter = 0;
        if (recv(fd, &letter, 1, 0) != 1)
            throw std::runtime_error("the WebSocket does not open");
        head += letter;
    }
    if (!head.starts_with("HTTP/1.1 101"))
        throw std::runtime_error("the WebSocket is refused: " + head);
    return fd;
}

int begin_mqtt(unsigned short port, const std::string& topic) {
    static int count = 0;
    const int fd = connect_to_port(port);
    // Protocol level 4, a clean session, no keep-alive.
    const std::string about = mqtt_text("MQTT") + std::string{4, 2, 0, 0};
    send_whole(fd, mqtt_packet(0x10, about + mqtt_text("bench" + std::to_string(++count))));
    receive_whole(fd, 4);
    if (topic.empty())
        return fd;
    send_whole(fd, mqtt_packet(static_cast<char>(0x82),
                               std::string{0, 1} + mqtt_text(topic) + std::string(1, '\0')));
    receive_whole(fd, 5);
    return fd;
}

std::string mqtt_publish(const std::string& topic, const std::string& payload) {
    return mqtt_packet(mqtt_publish_kind, mqtt_text(topic) + payload);
}

event_crowd::event_crowd(unwrapping unwrap) : unwrap_(unwrap), epoll_fd_(epoll_create1(EPOLL_CLOEXEC)) {}

event_crowd::~event_crowd() {
    for (const reader& one : readers_)
        close(one.fd);
    close(epoll_fd_);
}

void event_crowd::add(int fd) {
    epoll_event wanted{};
    wanted.events = EPOLLIN;
    wanted.data.u64 = readers_.size();
    readers_.push_back({fd, {}});
    epoll_ctl(epoll_fd_, EPOLL_CTL_ADD, fd, &wanted);
}

void event_crowd::read(double milliseconds, const hearing& hear) {
    const std::uint64_t end = clock_ns() + static_cast<std::uint64_t>(milliseconds * 1e6);
    std::array<epoll_event, 256> events{};
    for (std::uint64_t now = clock_ns(); now < end; now = clock_ns()) {
        const int wait_ms = static_cast<int>(std::ceil(static_cast<double>(end - now) / 1e6));
        const int count = epoll_wait(epoll_fd_, events.data(), static_cast<int>(events.size()), wait_ms);
        for (int at = 0; at < count; ++at)
            read_one(readers_[events[static_cast<std::size_t>(at)].data.u64], hear);
    }
}

void event_crowd::read_one(reader& one, const hearing& hear) {
    std::array<char, 65536> chunk; // not initialised: recv says how much of it counts
    const ssize_t count = recv(one.fd, chunk.data(), chunk.size(), MSG_DONTWAIT);
    if (count < 0 && (errno == EAGAIN || errno == EINTR))
        return;
    if (count <= 0)
        throw std::runtime_error("a stream of messages has ended");
    one.received.append(chunk.data(), static_cast<std::size_t>(count));
    std::string_view rest = one.received, payload;
    for (std::size_t used = unwrap_(rest, &payload); used > 0; used = unwrap_(rest, &payload)) {
        hear(payload);
        const bool is_ping = unwrap_ == unwrap_websocket && byte_at(rest, 0) == 0x89;
        if (is_ping) // answered with a mask of zeros
            send_whole(one.fd, std::string("\x8a\x80\0\0\0\0", 6)
                                       .replace(1, 1, 1, static_cast<char>(0x80 | payload.size())) +
                                   std::string(payload));
        rest.remove_prefix(used);
    }
    one.received.erase(0, one.received.size() - rest.size());
}
