// The board with real drivers and the simulated router.
#include "board_fixture.h"
#include "driver_process.h"

#include <map>

using gateway::router_state;

namespace {

class RealDrivers : public board_fixture {
protected:
    std::map<std::string, std::unique_ptr<driver_process>> drivers;

    void install(const std::string& name, int inputs, int outputs, const std::string& more = "") const {
        write_file(item_path(name),
                   "driver=route_simulator\nstay resident=1\nsimulated inputs=" + std::to_string(inputs) +
                       "\nsimulated outputs=" + std::to_string(outputs) + "\n" + more);
    }
    driver_process& start(const std::string& name) {
        auto& driver = drivers[name];
        driver.reset();
        driver = std::make_unique<driver_process>(
            driver_setup{.item = item_path(name),
                         .switches = {"--sock=" + socket_path(name), "--metadir=" + directory.path()}});
        return *driver;
    }
};

} // namespace

TEST_F(RealDrivers, AnItemIsShownAndItsDriverAndItsTakes) {
    install("studio", 16, 8);
    board->start();
    const gateway::shown_router* studio = board->find("studio");
    ASSERT_NE(studio, nullptr);
    EXPECT_EQ(studio->state, router_state::no_driver);
    EXPECT_NE(studio->reason.find(socket_path("studio")), std::string::npos) << studio->reason;

    start("studio");
    wait_for_state("studio", router_state::up);
    EXPECT_EQ(studio->reason, "");
    EXPECT_EQ(studio->picture.inputs.size(), 16U);
    EXPECT_EQ(studio->picture.outputs.size(), 8U);

    const kept_ending confirmed = wait_for_ending(take("studio", {{1, 3}, {2, 4}}));
    ASSERT_EQ(confirmed.ending.kind, gateway::take_ending::kind::answered);
    EXPECT_EQ(confirmed.ending.answer.id, "of the asker");
    EXPECT_EQ(word_of(confirmed, 0), vrdx::take_word::confirmed);
    EXPECT_EQ(word_of(confirmed, 1), vrdx::take_word::confirmed);
    wait_for("the take in the picture", [&] {
        return studio->picture.outputs[0].sources == vrdx::level_sources{3, 3};
    });
}
