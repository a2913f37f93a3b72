// What drivers tell of themselves when the board asks them.
#include "played_driver.h"

using gateway::router_state;

namespace {

class Figures : public PlayedDriver {
protected:
    int ends = 0; // of questions

    void ask() {
        board->ask_figures([this] { ++ends; });
    }
    void wait_for_ends(int count) {
        wait_for("the end of the question", [&] { return ends == count; });
    }
    // From now on the driver tells this count of clients.
    void answer_with(const std::string& clients) {
        driver->figures = [this, clients] {
            return bytes_of("describe", {{"epoch", driver->epoch},
                                         {"sequence", "1"},
                                         {"inputs", "0"},
                                         {"outputs", "0"},
                                         {"clients", clients},
                                         {"uptime", "8000"},
                                         {"takes rolled back", "6 1"},
                                         {"backend starts", "7 2"}});
        };
    }
};

} // namespace

TEST_F(Figures, AreThoseThatTheDriverTells) {
    start_answering_driver_and_wait();
    EXPECT_FALSE(studio().figures.has_value());
    answer_with("5");
    ask();
    EXPECT_EQ(ends, 0);
    wait_for_ends(1);
    ASSERT_TRUE(studio().figures.has_value());
    EXPECT_EQ(studio().figures->clients, 5U);
    EXPECT_EQ(studio().figures->rollbacks, 6U);
    EXPECT_EQ(studio().figures->backend_starts, 7U);
    EXPECT_EQ(studio().figures->uptime_ms, 8000U);
    EXPECT_EQ(studio().picture.inputs.size(), 4U); // the picture is as it was
}

TEST_F(Figures, AreAskedForOnTheConnectionThatWatches) {
    start_answering_driver_and_wait();
    answer_with("5");
    ask();
    wait_for_ends(1);
    EXPECT_EQ(driver->connections_ever(), 1U);
    driver->tell_change({{"input 1", "Camera"}});
    wait_for("a change", [&] { return studio().picture.inputs[0].name == "Camera"; });
    EXPECT_EQ(studio().state, router_state::up);
}

TEST_F(Figures, AreToldToAllWhoWait) {
    start_answering_driver_and_wait();
    answer_with("5");
    driver->hangs = true;
    ask();
    ask();
    EXPECT_EQ(ends, 0);
    driver->hangs = false;
    wait_for_ends(2);
    ASSERT_TRUE(studio().figures.has_value());
}

TEST_F(Figures, OfADriverThatKnowsNoneAreNone) {
    start_answering_driver_and_wait();
    driver->figures = [] { return bytes_of("error", {}, 0, "unknown command"); };
    ask();
    wait_for_ends(1);
    EXPECT_FALSE(studio().figures.has_value());
    EXPECT_EQ(studio().state, router_state::up);
}

TEST_F(Figures, AreForgottenWithTheConnection) {
    start_answering_driver_and_wait();
    answer_with("5");
    ask();
    wait_for_ends(1);
    EXPECT_EQ(studio().connections, 1U);
    driver->close_connections();
    wait_for("another connection", [&] { return studio().connections == 2; });
    EXPECT_FALSE(studio().figures.has_value());
}

TEST_F(Figures, TheQuestionEndsWithTheConnection) {
    start_driver_and_wait();
    ask();
    EXPECT_EQ(ends, 0);
    driver->close_connections();
    wait_for_ends(1);
}

TEST_F(Figures, TheQuestionEndsWithoutAnyDriver) {
    board->start();
    wait_for_state("studio", router_state::no_driver);
    ask();
    EXPECT_EQ(ends, 0); // not before the question was asked
    wait_for_ends(1);
}

TEST_F(Figures, TheDriverIsHeardWithEachSignOfLife) {
    start_driver_and_wait();
    const std::uint64_t heard = studio().heard_us;
    EXPECT_GT(heard, 0U);
    driver->tell(bytes_of("alive", {{"epoch", driver->epoch}, {"sequence", "1"}, {"last take", "0"}}));
    wait_for("a sign of life", [&] { return studio().heard_us > heard; });
}
