// A board with one router whose driver the test plays.
#pragma once

#include "board_fixture.h"
#include "scripted_driver.h"

// A router named "studio" with a driver that the test plays.
class PlayedDriver : public board_fixture {
protected:
    std::unique_ptr<scripted_driver> driver;

    void SetUp() override {
        board_fixture::SetUp();
        write_file(item_path("studio"), "driver=route_simulator\n");
        others.push_back([this] {
            if (driver != nullptr)
                driver->serve();
        });
    }

    const gateway::shown_router& studio() {
        return *board->find("studio");
    }
    void start_driver_and_wait() {
        start_driver();
        board->start();
        wait_for_state("studio", gateway::router_state::up);
    }
    // One that answers each `describe`, from its first connection on.
    void start_answering_driver_and_wait() {
        start_driver();
        driver->answers_describe = true;
        board->start();
        wait_for_state("studio", gateway::router_state::up);
    }
    void start_driver(const std::string& epoch = first_epoch) {
        driver = std::make_unique<scripted_driver>(socket_path("studio"), epoch);
    }
    // The directories were read anew after all that was done before.
    void wait_until_reread() {
        static int markers = 0;
        const std::string marker = "marker" + std::to_string(++markers);
        write_file(item_path(marker), "");
        wait_for("a reading of the directories", [&] { return board->find(marker) != nullptr; });
    }
};
