// The client side of every comparison, the same for all servers: it sends a request and counts the bytes that
// come back. Times in microseconds.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

struct load_target {
    std::string socket;
    std::string request;
    std::size_t reply_bytes; // of each reply
};

// One connection, blocking; closed with the object. Throws when the server does not answer.
class load_connection {
public:
    // `patience_ms`: how long it waits for an answer.
    explicit load_connection(const std::string& socket, int patience_ms = 5000);
    ~load_connection();
    load_connection(const load_connection&) = delete;
    load_connection& operator=(const load_connection&) = delete;

    // From any thread: who waits for an answer throws.
    void hang_up() const;
    void send(const std::string& bytes) const;
    void receive(std::size_t bytes) const;
    // The next whole packet, in place of what `packet` held. Nothing may have come behind it.
    void receive_packet(std::string* packet) const;

private:
    int fd_;
};

// One client, one request after the other: the time of each, after a warm-up.
std::vector<double> round_trips(const load_target& target, int count);

// One round trip.
double round_trip(const load_connection& connection, const load_target& target);

struct crowd_result {
    double per_second; // replies
    double p99;        // of the time from request to whole reply
};

// So many clients at once, each with one request under way at all times, for so many seconds.
crowd_result crowd(const load_target& target, int clients, double seconds);
