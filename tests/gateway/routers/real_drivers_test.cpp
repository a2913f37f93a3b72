// The board with real drivers and the simulated router.
#include "board_fixture.h"
#include "driver_process.h"

#include <csignal>
#include <map>

using gateway::router_state;
using ending_kind = decltype(gateway::take_ending::kind);

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

TEST_F(RealDrivers, ANameIsSetAndShown) {
    install("studio", 4, 4);
    start("studio");
    board->start();
    wait_for_state("studio", router_state::up);
    const auto kept = std::make_shared<kept_ending>();
    board->rename("studio", "lane", true, 2, "Studio A monitor", keep_in(kept));
    EXPECT_EQ(wait_for_ending(kept).ending.answer.error, "");
    const gateway::shown_router* studio = board->find("studio");
    wait_for("the new name", [&] { return studio->picture.outputs[1].name == "Studio A monitor"; });
}

TEST_F(RealDrivers, ARefusedTakeIsAnsweredInTheDriversWords) {
    install("studio", 4, 4, "simulated refuse outputs=2\n");
    start("studio");
    board->start();
    wait_for_state("studio", router_state::up);
    const kept_ending mixed = wait_for_ending(take("studio", {{1, 3}, {2, 3}, {9, 1}}));
    EXPECT_EQ(word_of(mixed, 0), vrdx::take_word::confirmed);
    EXPECT_EQ(word_of(mixed, 1), vrdx::take_word::refused);
    EXPECT_EQ(word_of(mixed, 2), vrdx::take_word::refused);
    EXPECT_EQ(mixed.ending.answer.results[2].result.text, "no such output");
}

TEST_F(RealDrivers, TakesOfOthersAreTold) {
    install("studio", 4, 4);
    start("studio");
    board->start();
    wait_for_state("studio", router_state::up);
    std::vector<vrdx::take_record> decided;
    board->listen([&](const gateway::router_news& news) {
        decided.insert(decided.end(), news.takes.begin(), news.takes.end());
    });
    vrdx::driver_connection other;
    vrdx::take_order order;
    order.takes = {{3, {2, 2}}};
    order.id = "1";
    order.by = "a panel";
    ASSERT_EQ(vrdx::open_connection(&other, socket_path("studio")), 0);
    ASSERT_NE(vrdx::queue_take(&other, order), 0U);
    ASSERT_TRUE(vrdx::move_bytes(&other));
    wait_for("the other's take", [&] { return !decided.empty(); });
    EXPECT_EQ(decided[0].by, "a panel");
    EXPECT_EQ(decided[0].output, 3);
    EXPECT_EQ(board->find("studio")->picture.outputs[2].taken->by, "a panel");
    vrdx::close_connection(&other);
}

TEST_F(RealDrivers, OneThatStandsStillIsStaleAndTrueAgainWhenItGoesOn) {
    install("studio", 4, 4);
    driver_process& driver = start("studio");
    board->start();
    wait_for_state("studio", router_state::up);
    EXPECT_EQ(word_of(wait_for_ending(take("studio", {{1, 2}}))), vrdx::take_word::confirmed);
    driver.hold();
    const auto hung = take("studio", {{1, 4}}, "lane", 500);
    const auto of_a_new_lane = take("studio", {{1, 3}}, "another lane", 500);
    EXPECT_EQ(word_of(wait_for_ending(hung)), vrdx::take_word::unknown);
    EXPECT_EQ(wait_for_ending(of_a_new_lane).ending.kind, ending_kind::unavailable);
    clock_pushed_us += 8000000;
    wait_for_state("studio", router_state::stale);
    EXPECT_EQ(board->find("studio")->picture.outputs.size(), 4U);
    driver.let_go();
    wait_for_state("studio", router_state::up);
    EXPECT_EQ(word_of(wait_for_ending(take("studio", {{2, 4}}))), vrdx::take_word::confirmed);
    wait_for("the picture of it", [&] {
        return board->find("studio")->picture.outputs[1].sources == vrdx::level_sources{4, 4};
    });
    EXPECT_EQ(board->find("studio")->picture.outputs[0].sources, (vrdx::level_sources{2, 2}))
        << "nothing late";
    EXPECT_EQ(hung->times, 1);
}

TEST_F(RealDrivers, OneThatIsKilledAndStartedAnewWithAnotherSizeIsReadAnew) {
    install("studio", 4, 4);
    start("studio");
    board->start();
    wait_for_state("studio", router_state::up);
    const std::string epoch = board->find("studio")->picture.epoch;
    for (const auto& size : {std::pair(4096, 1024), {8, 4}}) {
        const int inputs = size.first;
        const int outputs = size.second;
        drivers["studio"]->signal(SIGKILL);
        wait_for_state("studio", router_state::no_driver);
        EXPECT_FALSE(board->find("studio")->picture.outputs.empty());
        install("studio", inputs, outputs);
        start("studio");
        wait_for("the router of the new size", [&] {
            const gateway::shown_router& studio = *board->find("studio");
            return studio.state == router_state::up &&
                   studio.picture.inputs.size() == static_cast<std::size_t>(inputs);
        });
        EXPECT_EQ(board->find("studio")->picture.outputs.size(), static_cast<std::size_t>(outputs));
        EXPECT_NE(board->find("studio")->picture.epoch, epoch);
        const kept_ending far = wait_for_ending(take("studio", {{outputs, inputs}}));
        EXPECT_EQ(word_of(far), vrdx::take_word::confirmed);
    }
}

TEST_F(RealDrivers, WithoutABackendTheReasonIsTold) {
    write_file(item_path("studio"), "drivr=route_simulator\nstay resident=1\n");
    start("studio");
    board->start();
    wait_for_state("studio", router_state::no_backend);
    EXPECT_NE(board->find("studio")->reason.find("names no backend"), std::string::npos);
    const kept_ending refused = wait_for_ending(take("studio", {{1, 1}}));
    EXPECT_EQ(word_of(refused), vrdx::take_word::refused);
    install("studio", 2, 2);
    set_modification_time(item_path("studio"), modification_time(item_path("studio")) + 10);
    wait_for_state("studio", router_state::up);
}
