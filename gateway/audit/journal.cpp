#include "journal.h"

#include "epoch_number.h"

#include <algorithm>
#include <cstring>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace gateway {

namespace {

// A value with a line end in it needs the form with a length: name, line end, eight bytes, value.
void add_field(std::string* message, std::string_view name, std::string_view value) {
    if (value.empty())
        return;
    message->append(name);
    if (value.find('\n') == std::string_view::npos) {
        message->append(1, '=');
    } else {
        message->append(1, '\n');
        for (std::size_t shift = 0; shift < 64; shift += 8)
            message->append(1, static_cast<char>((value.size() >> shift) & 0xff));
    }
    message->append(value).append(1, '\n');
}

void add_number(std::string* message, std::string_view name, std::int64_t value, std::int64_t none) {
    if (value != none)
        add_field(message, name, std::to_string(value));
}

} // namespace

journal::journal(const std::string& socket_path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (socket_path.empty() || socket_path.size() >= sizeof address.sun_path)
        return;
    std::memcpy(address.sun_path, socket_path.c_str(), socket_path.size() + 1);
    socket_ = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (socket_ >= 0 && connect(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        close(socket_);
        socket_ = -1;
    }
}

journal::~journal() {
    if (socket_ >= 0)
        close(socket_);
}

void journal::tell(const history_entry& entry) {
    if (socket_ < 0)
        return;
    std::string message;
    add_field(&message, "MESSAGE", entry_line(entry));
    add_field(&message, "PRIORITY", "6");
    add_field(&message, "SYSLOG_IDENTIFIER", "vrdx_gateway");
    add_field(&message, "VRDX_KIND", entry_kind_word(entry.kind));
    add_field(&message, "VRDX_ROUTER", entry.router);
    add_number(&message, "VRDX_OUTPUT", entry.output, 0);
    add_number(&message, "VRDX_INPUT", entry.input, 0);
    add_field(&message, "VRDX_BY", entry.by);
    add_field(&message, "VRDX_THROUGH", entry.through);
    add_field(&message, "VRDX_ADDRESS", entry.address);
    add_field(&message, "VRDX_BEFORE", entry.before);
    add_field(&message, "VRDX_AFTER", entry.after);
    add_field(&message, "VRDX_RESULT", entry.result);
    add_field(&message, "VRDX_TIME_US", std::to_string(entry.time_us));
    add_field(&message, "VRDX_EPOCH", entry.epoch);
    add_number(&message, "VRDX_NUMBER", entry.number, 0);
    [[maybe_unused]] const auto sent = send(socket_, message.data(), message.size(), MSG_NOSIGNAL);
}

std::string entry_line(const history_entry& entry) {
    std::string line = entry_kind_word(entry.kind);
    if (!entry.router.empty())
        line += " of " + entry.router;
    if (entry.output > 0)
        line += " output " + std::to_string(entry.output);
    if (entry.input > 0)
        line += " input " + std::to_string(entry.input);
    if (!entry.by.empty())
        line += " by " + entry.by;
    if (!entry.before.empty() || !entry.after.empty())
        line += ": \"" + entry.before + "\" to \"" + entry.after + "\"";
    if (!entry.result.empty())
        line += ": " + entry.result;
    if (!entry.reason.empty())
        line += ": " + entry.reason;
    std::replace_if(
        line.begin(), line.end(), [](unsigned char letter) { return letter < ' ' || letter == 0x7f; }, '?');
    return line;
}

} // namespace gateway
