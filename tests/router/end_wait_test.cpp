// When a message ends the loop's wait, so that it reaches the backend at once.
#include "waiting_clients.h"

#include "vrdx.h"

#include <gmock/gmock.h>

namespace {

class EndWait : public waiting_clients {
protected:
    // One message was just moved, and none waits.
    EndWait() {
        router_send_message(message("before"));
        move_all();
        vrdx_end_wait = false;
    }
};

TEST_F(EndWait, EndsForAClientsTakeWhenTheLastMoveIsEightMillisecondsAgo) {
    settable_clock_us += 8000;
    take(connect(), 1, {0});
    EXPECT_TRUE(vrdx_end_wait);
}

TEST_F(EndWait, EndsForAClientsPropertyWhenTheLastMoveIsEightMillisecondsAgo) {
    settable_clock_us += 8000;
    send(connect(), "Cam", 0);
    EXPECT_TRUE(vrdx_end_wait);
}

TEST_F(EndWait, EndsWhenTheLastMoveIsLongAgo) {
    settable_clock_us += 3600000000;
    take(connect(), 1, {0});
    EXPECT_TRUE(vrdx_end_wait);
}

TEST_F(EndWait, GoesOnWhenAMessageWasMovedJustBefore) {
    settable_clock_us += 7999;
    take(connect(), 1, {0});
    EXPECT_FALSE(vrdx_end_wait);
}

TEST_F(EndWait, GoesOnBehindMessagesThatWait) {
    settable_clock_us += 8000;
    router_send_message(message("first"));
    take(connect(), 1, {0});
    EXPECT_FALSE(vrdx_end_wait);
}

TEST_F(EndWait, GoesOnInTheMiddleOfABatch) {
    take(connect(), 1, {0});
    move(1);
    settable_clock_us += 8000;
    take(connect(), 1, {1});
    EXPECT_FALSE(vrdx_end_wait);
}

TEST_F(EndWait, GoesOnForTheDriversOwnMessages) {
    settable_clock_us += 8000;
    request_router_report();
    EXPECT_FALSE(vrdx_end_wait);
}

TEST_F(EndWait, GoesOnForSettingsOfNoClient) {
    settable_clock_us += 8000;
    router_send_client_message(message("1"), {}, first_setting_place);
    EXPECT_FALSE(vrdx_end_wait);
}

TEST_F(EndWait, GoesOnWhileNoBackendCanBeTold) {
    commands_reach_backend = false;
    settable_clock_us += 8000;
    send(connect(), "Cam", 0);
    EXPECT_FALSE(vrdx_end_wait);
}

} // namespace
