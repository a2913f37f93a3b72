// The way to other sites: what is sent there, and what comes from there.
#pragma once

#include <string>

namespace gateway {

struct site_message {
    std::string subject;
    std::string reply; // where an answer goes; "" when none is wanted
    std::string data;
    bool nobody = false;  // true: nobody listens to what was asked, there will be no answer
    bool is_page = false; // of a picture: whatever else is to be sent goes before it
};

class message_way {
public:
    virtual ~message_way() = default;

    [[nodiscard]] virtual bool is_connected() const = 0;
    // False: the next page would not be sent.
    [[nodiscard]] virtual bool has_room_for_page() const = 0;
    // False: it was certainly not sent, and will not be. True: perhaps it is on its way; nothing is kept for
    // a later connection, and nothing is sent twice.
    virtual bool send(site_message message) = 0;
};

} // namespace gateway
