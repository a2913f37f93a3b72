#include "name_lookup.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <netdb.h>
#include <system_error>
#include <thread>
#include <unistd.h>

namespace {

constexpr int most_running = 8;
std::atomic<int> running = 0;

// The resolver's answer; `flags` as for getaddrinfo().
int ask_resolver(name_lookup& lookup, int flags) {
    addrinfo hints = {};
    hints.ai_family = AF_UNSPEC;
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_flags = flags | AI_NUMERICSERV;
    addrinfo* found = nullptr;
    const int error = getaddrinfo(lookup.host.c_str(), std::to_string(lookup.port).c_str(), &hints, &found);
    if (error != 0) {
        lookup.failure = "the name " + lookup.host + " has no address: " + gai_strerror(error);
        return error;
    }
    for (const addrinfo* entry = found; entry != nullptr; entry = entry->ai_next) {
        network_address address;
        std::memcpy(&address.address, entry->ai_addr, entry->ai_addrlen);
        address.size = entry->ai_addrlen;
        lookup.addresses.push_back(address);
    }
    freeaddrinfo(found);
    lookup.failure.clear();
    return 0;
}

void look_up(const std::shared_ptr<name_lookup>& lookup) {
    static_cast<void>(ask_resolver(*lookup, 0)); // the failure stands in the look-up
    lookup->done = true;
    const ssize_t written = write(lookup->wake_write, "", 1);
    static_cast<void>(written); // an empty pipe has room for one byte
    --running;
}

// False, with the failure set, when the thread cannot be had.
bool start_thread(const std::shared_ptr<name_lookup>& lookup) {
    if (++running > most_running) {
        --running;
        lookup->failure = "too many names are being looked up";
        return false;
    }
    int ends[2];
    if (pipe2(ends, O_CLOEXEC | O_NONBLOCK) != 0) {
        --running;
        lookup->failure = std::string("no pipe: ") + std::strerror(errno);
        return false;
    }
    lookup->wake_read = ends[0];
    lookup->wake_write = ends[1];
    try {
        std::thread(look_up, lookup).detach();
    } catch (const std::system_error& error) {
        --running;
        lookup->failure = std::string("no thread: ") + error.what();
        return false;
    }
    return true;
}

} // namespace

name_lookup::~name_lookup() {
    if (wake_read >= 0) {
        close(wake_read);
        close(wake_write);
    }
}

std::shared_ptr<name_lookup> begin_name_lookup(const std::string& host, std::uint16_t port) {
    auto lookup = std::make_shared<name_lookup>();
    lookup->host = host;
    lookup->port = port;
    if (ask_resolver(*lookup, AI_NUMERICHOST) == 0 || !start_thread(lookup)) {
        lookup->done = true;
    }
    return lookup;
}
