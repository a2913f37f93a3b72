// A driver's socket that a test serves as it likes, in the test's own thread: serve() never waits.
#pragma once

#include "comm_socket_v4_packet.h"
#include "told_packets.h"

#include <functional>
#include <string>
#include <vector>

class scripted_driver {
public:
    // Listens at `path`; another socket that stands there is exchanged for it.
    explicit scripted_driver(std::string path, std::string epoch = first_epoch, int backlog = 64);
    // Closes all; the socket's file stays, as after a driver that was killed.
    ~scripted_driver();
    scripted_driver(const scripted_driver&) = delete;
    scripted_driver& operator=(const scripted_driver&) = delete;

    // --- how it answers; may be exchanged at any time

    bool hangs = false;                 // accepts nobody and reads nothing
    std::function<std::string()> watch; // bytes that answer `watch`; unless told, the whole picture
    // Bytes that answer any other request; called with the connection's number, from 0.
    std::function<std::string(std::size_t, const comm_socket_v4_packet&)> request;

    // Bytes that answer a description; unless told, as what follows says.
    std::function<std::string()> figures;
    bool answers_describe = false;   // else the question waits for ever
    std::vector<std::string> errors; // as `describe` tells them: "TIME TEXT", the oldest first
    told_entries record;             // entries of the record of takes, all on one page
    // Bytes that answer a question about the record instead, whatever answers_describe says.
    std::function<std::string(const comm_socket_v4_packet&)> record_pages;
    std::size_t described = 0; // how often its errors were asked for

    bool answers_features = true; // else the question waits for ever
    bool knows_until = false;     // else it is older than `until` and the question

    std::string epoch;
    int inputs = 4;
    int outputs = 2;
    const char* backend = "running";
    const char* link = "up";
    std::uint64_t sequence = 1; // of the last change
    std::uint64_t last_take = 0;

    // --- what it does

    // Accepts, reads and answers what there is.
    void serve();
    // To all who watch.
    void tell(const std::string& bytes);
    // A change of these entries, which follows the one before; perhaps not the whole of it. The sequence
    // moves on with its last packet.
    void tell_change(const told_entries& entries, bool more = false);
    void close_connections();
    // Ends in order: the socket is removed.
    void leave();

    // --- what it has seen

    [[nodiscard]] std::size_t connections_ever() const {
        return clients_.size();
    }
    [[nodiscard]] std::size_t watchers() const;
    // Connections that are open and do not watch.
    [[nodiscard]] std::size_t others() const;
    // Writes to the connection of this number, from 0.
    void send_to(std::size_t number, const std::string& bytes);
    void close_connection(std::size_t number);
    std::vector<comm_socket_v4_packet> requests; // others than `watch` and `describe`

    // --- packets

    [[nodiscard]] std::string watch_reply() const;
    // The whole picture in packets of so many places each.
    [[nodiscard]] std::string whole_picture(int places_per_packet = 300) const;

private:
    struct client {
        int fd;
        bool watches = false;
        std::string received;
        std::string outgoing;
    };

    void accept_all();
    void read_from(std::size_t number);
    void answer(std::size_t number, const comm_socket_v4_packet& packet);
    [[nodiscard]] std::string description() const;
    [[nodiscard]] std::string features() const;
    [[nodiscard]] std::string record_page() const;
    static void write_to(client* one);
    static void close_client(client* one);

    std::string path_;
    int listener_;
    std::vector<client> clients_; // fd -1: gone
};

// The bytes of a packet.
std::string bytes_of(const char* command, const told_entries& entries, std::uint64_t result = 0,
                     const char* argument = nullptr);
std::string entry_of(const comm_socket_v4_packet& packet, std::string_view name);
// The answer to a take: each output with the same words.
std::string take_answer(const comm_socket_v4_packet& take, const std::string& words,
                        const std::string& epoch);
