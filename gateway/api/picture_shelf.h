// The JSON of each router's picture: written once for each state it is in, and shared by all who want it.
#pragma once

#include "router_json.h"

#include <functional>

namespace gateway {

// What is kept for one router.
struct written_picture {
    std::shared_ptr<const std::string> text;
    std::string etag; // with its quotes; changes with all that the text tells
};

// The locks of a router; null when there are none.
using locks_of_router = std::function<const router_locks*(std::string_view router)>;

class picture_shelf {
public:
    explicit picture_shelf(locks_of_router locks);

    // Valid until the next call.
    const written_picture& of(const shown_router& router);

    // What the router itself does not count: its locks, the names of its users.
    void changed(const std::string& router);
    void forget(const std::string& router); // it is gone

private:
    struct shelved {
        written_picture written;
        std::uint64_t changes = 0;
    };

    locks_of_router locks_;
    std::string started_; // tells the tags of two runs apart
    std::uint64_t last_change_ = 0;
    std::map<std::string, shelved, std::less<>> shelf_;
};

} // namespace gateway
