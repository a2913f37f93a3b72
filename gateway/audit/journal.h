// Entries as lines of the system's journal, with a field for each thing that one may look for:
// journalctl -u vrdx-gateway VRDX_ROUTER=studio VRDX_OUTPUT=1
#pragma once

#include "history_entry.h"

namespace gateway {

constexpr const char* journal_socket = "/run/systemd/journal/socket";

class journal {
public:
    // Nothing is sent when there is no such socket.
    explicit journal(const std::string& socket_path);
    ~journal();
    journal(const journal&) = delete;
    journal& operator=(const journal&) = delete;

    // Never waits: what the journal does not accept at once is in history.db alone.
    void tell(const history_entry& entry);

private:
    int socket_ = -1;
};

// "take of studio output 1 by desk: 3 to 7: confirmed". One line, for people.
std::string entry_line(const history_entry& entry);

} // namespace gateway
