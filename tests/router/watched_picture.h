// A picture whose events the tests hear.
#pragma once

#include "fresh_driver.h"
#include "router_picture.h"

#include <string>
#include <vector>

// An event with copies of the names, which end with the call.
struct told {
    picture_event event;
    std::string name_before;
    std::string name_after;
};

inline std::vector<told> events;

inline void keep_event(const picture_event& event) {
    events.push_back({event, std::string(event.name_before), std::string(event.name_after)});
}

// Nobody can stop watching, and so all tests of this program share one watcher.
inline void watch_once() {
    static const bool watching = [] {
        watch_picture(keep_event);
        return true;
    }();
    EXPECT_TRUE(watching);
    events.clear();
}

constexpr requester anna{7, 1001};

// A router of three inputs and two outputs. What is told from here on is the test's.
class watched_picture : public fresh_driver {
protected:
    watched_picture() {
        resize_picture(3, 2, true);
        listen();
    }
    // From here on.
    void listen() {
        watch_once();
        version_ = picture_version;
    }

    // The one event since listen(), with the version that goes with it.
    told only_event(picture_change what, change_cause cause, std::int32_t place) {
        EXPECT_EQ(picture_version, version_ + 1);
        EXPECT_EQ(events.size(), 1U);
        if (events.size() != 1)
            return {};
        const told one = events.front();
        EXPECT_EQ(one.event.version, picture_version);
        EXPECT_EQ(one.event.what, what);
        EXPECT_EQ(one.event.cause, cause);
        EXPECT_EQ(one.event.place, place);
        return one;
    }
    void expect_nothing_told() const {
        EXPECT_TRUE(events.empty());
        EXPECT_EQ(picture_version, version_);
    }
    static void expect_no_names(const told& one) {
        EXPECT_EQ(one.name_before, "");
        EXPECT_EQ(one.name_after, "");
    }
    static void expect_no_sources(const told& one) {
        EXPECT_FALSE(one.event.audio);
        EXPECT_FALSE(one.event.video);
        EXPECT_EQ(one.event.before, levels());
        EXPECT_EQ(one.event.after, levels());
        expect_from(one, {});
    }
    static void expect_from(const told& one, requester whose) {
        EXPECT_EQ(one.event.whose.connection, whose.connection);
        EXPECT_EQ(one.event.whose.user, whose.user);
    }

private:
    std::uint64_t version_ = 0;
};
