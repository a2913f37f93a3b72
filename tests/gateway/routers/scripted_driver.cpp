#include "scripted_driver.h"

#include "socket_address.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <stdexcept>
#include <sys/socket.h>
#include <unistd.h>

std::string bytes_of(const char* command, const told_entries& entries, std::uint64_t result,
                     const char* argument) {
    return written(command, entries, result, argument).bytes;
}

std::string entry_of(const comm_socket_v4_packet& packet, std::string_view name) {
    for (const std::uint32_t index : packet.entries)
        if (comm_socket_v4_packet_item_name(&packet, packet.items[index]) == name)
            return std::string(comm_socket_v4_packet_item_value(&packet, packet.items[index]));
    return {};
}

std::string take_answer(const comm_socket_v4_packet& take, const std::string& words,
                        const std::string& epoch) {
    told_entries entries = {{"id", entry_of(take, "id")}, {"epoch", epoch}};
    for (const std::uint32_t index : take.arguments) {
        const std::string argument(comm_socket_v4_packet_item_value(&take, take.items[index]));
        entries.emplace_back("output " + argument.substr(0, argument.find('=')), words);
    }
    return bytes_of("take", entries, words == "confirmed" ? 0 : 1);
}

scripted_driver::scripted_driver(std::string path, std::string its_epoch, int backlog)
    : epoch(std::move(its_epoch)), path_(std::move(path)),
      listener_(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0)) {
    unlink(path_.c_str());
    if (bind_socket_path(listener_, path_, 0600, backlog) != 0)
        throw std::runtime_error("cannot listen at " + path_);
}

scripted_driver::~scripted_driver() {
    close_connections();
    close(listener_);
}

void scripted_driver::leave() {
    unlink(path_.c_str());
    close_connections();
    close(listener_);
    listener_ = -1;
}

void scripted_driver::close_connections() {
    for (client& each : clients_)
        close_client(&each);
}

void scripted_driver::close_client(client* one) {
    if (one->fd >= 0)
        close(one->fd);
    one->fd = -1;
    one->watches = false;
}

std::size_t scripted_driver::watchers() const {
    return static_cast<std::size_t>(
        std::count_if(clients_.begin(), clients_.end(), [](const client& each) { return each.watches; }));
}

std::size_t scripted_driver::others() const {
    return static_cast<std::size_t>(std::count_if(
        clients_.begin(), clients_.end(), [](const client& each) { return each.fd >= 0 && !each.watches; }));
}

void scripted_driver::send_to(std::size_t number, const std::string& bytes) {
    clients_.at(number).outgoing += bytes;
    write_to(&clients_.at(number));
}

void scripted_driver::close_connection(std::size_t number) {
    close_client(&clients_.at(number));
}

void scripted_driver::serve() {
    if (hangs)
        return;
    accept_all();
    for (std::size_t number = 0; number < clients_.size(); ++number)
        if (clients_[number].fd >= 0)
            read_from(number);
    for (client& each : clients_)
        write_to(&each);
}

void scripted_driver::accept_all() {
    for (;;) {
        const int fd = accept4(listener_, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
        if (fd < 0)
            return;
        clients_.push_back({fd, false, {}, {}});
    }
}

void scripted_driver::read_from(std::size_t number) {
    std::array<char, 65536> chunk;
    for (;;) {
        const ssize_t count = recv(clients_[number].fd, chunk.data(), chunk.size(), 0);
        if (count == 0)
            close_client(&clients_[number]);
        if (count <= 0)
            break;
        clients_[number].received.append(chunk.data(), static_cast<std::size_t>(count));
    }
    std::size_t size = 0;
    for (;;) {
        std::string& received = clients_[number].received;
        const auto* data = reinterpret_cast<const unsigned char*>(received.data());
        if (comm_socket_v4_packet_frame(data, received.size(), &size) != comm_packet_frame::complete)
            return;
        comm_socket_v4_packet packet;
        comm_socket_v4_packet_decode(&packet, data, size);
        received.erase(0, size);
        answer(number, packet);
    }
}

void scripted_driver::answer(std::size_t number, const comm_socket_v4_packet& packet) {
    if (comm_socket_v4_packet_get_command(&packet) == std::string_view("watch")) {
        clients_[number].watches = true;
        clients_[number].outgoing += watch ? watch() : watch_reply() + whole_picture();
        return;
    }
    if (comm_socket_v4_packet_get_command(&packet) == std::string_view("describe")) {
        const bool asks_for_takes = comm_socket_v4_packet_get_argc(&packet) > 0;
        if (asks_for_takes && comm_socket_v4_packet_get_argv(&packet, 0) == std::string_view("features")) {
            if (answers_features)
                clients_[number].outgoing += features();
            return;
        }
        described += asks_for_takes ? 0 : 1;
        if (figures && !asks_for_takes) {
            clients_[number].outgoing += figures();
            return;
        }
        if (asks_for_takes && record_pages) {
            clients_[number].outgoing += record_pages(packet);
            return;
        }
        if (!answers_describe)
            return;
        clients_[number].outgoing += asks_for_takes ? record_page() : description();
        return;
    }
    requests.push_back(packet);
    if (request)
        clients_[number].outgoing += request(number, packet);
}

std::string scripted_driver::description() const {
    told_entries entries = {{"epoch", epoch}, {"sequence", std::to_string(sequence)}};
    for (const std::string& error : errors)
        entries.emplace_back("error", error);
    return bytes_of("describe", entries);
}

std::string scripted_driver::features() const {
    if (knows_until)
        return bytes_of("describe", {{"epoch", epoch}, {"feature", "take until"}});
    return bytes_of("error", {}, 1, "describe goes on at 'input N', 'output N' or 'takes'");
}

std::string scripted_driver::record_page() const {
    told_entries entries = {{"epoch", epoch}, {"last take", std::to_string(last_take)}};
    entries.insert(entries.end(), record.begin(), record.end());
    return bytes_of("describe", entries);
}

void scripted_driver::write_to(client* one) {
    while (one->fd >= 0 && !one->outgoing.empty()) {
        const ssize_t count = send(one->fd, one->outgoing.data(), one->outgoing.size(), MSG_NOSIGNAL);
        if (count <= 0)
            return;
        one->outgoing.erase(0, static_cast<std::size_t>(count));
    }
}

void scripted_driver::tell(const std::string& bytes) {
    for (client& each : clients_)
        if (each.watches)
            each.outgoing += bytes;
    for (client& each : clients_)
        write_to(&each);
}

void scripted_driver::tell_change(const told_entries& entries, bool more) {
    told_entries all = {
        {"epoch", epoch}, {"from", std::to_string(sequence + 1)}, {"to", std::to_string(sequence + 1)}};
    all.insert(all.end(), entries.begin(), entries.end());
    if (more)
        all.emplace_back("more", "1");
    else
        ++sequence;
    tell(bytes_of("change", all));
}

std::string scripted_driver::watch_reply() const {
    return bytes_of(
        "watch",
        {{"epoch", epoch}, {"sequence", std::to_string(sequence)}, {"last take", std::to_string(last_take)}});
}

std::string scripted_driver::whole_picture(int places_per_packet) const {
    std::string all;
    told_entries part;
    const auto begin = [&] { part = {{"epoch", epoch}, {"from", "1"}, {"to", std::to_string(sequence)}}; };
    begin();
    const told_entries facts = {{"inputs", std::to_string(inputs)},
                                {"outputs", std::to_string(outputs)},
                                {"levels", ""},
                                {"backend", backend},
                                {"backend text", "of the backend"},
                                {"link", link},
                                {"link text", "of the link"}};
    part.insert(part.end(), facts.begin(), facts.end());
    for (int place = 1; place <= inputs + outputs; ++place) {
        const bool input = place <= inputs;
        const std::string name =
            input ? "input " + std::to_string(place) : "output " + std::to_string(place - inputs);
        part.emplace_back(name, "the " + name);
        if (!input)
            part.emplace_back(name + " sources", "1,1");
        if (place % places_per_packet == 0 && place < inputs + outputs) {
            part.emplace_back("more", "1");
            all += bytes_of("change", part);
            begin();
        }
    }
    return all + bytes_of("change", part);
}
