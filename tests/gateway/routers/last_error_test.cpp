// The driver's last error: a watch does not tell it, so it is asked for.
#include "gateway/routers/board_limits.h"
#include "played_driver.h"

using gateway::router_state;

namespace {

class LastError : public PlayedDriver {
protected:
    void begin(const std::vector<std::string>& errors = {}) {
        start_driver();
        driver->answers_describe = true;
        driver->errors = errors;
        board->start();
        wait_for_state("studio", router_state::up);
    }
    std::string text() {
        return studio().last_error ? studio().last_error->text : "none";
    }
    void wait_for_text(const std::string& expected) {
        wait_for("the error \"" + expected + "\"", [&] { return text() == expected; });
    }
    // So much time passes; the driver lives.
    void push_clock(std::uint64_t us) {
        clock_pushed_us += us;
        driver->tell(bytes_of("alive", {{"epoch", driver->epoch}}));
    }
};

} // namespace

TEST_F(LastError, IsTheNewestOneWithItsTime) {
    begin({"1000 first", "2000 output 5 refuses to switch"});
    wait_for_text("output 5 refuses to switch");
    EXPECT_EQ(studio().last_error->time_ms, 2000U);
    EXPECT_TRUE(told.back().news.last_error_changed);
    EXPECT_FALSE(told.back().news.state_changed);
}

TEST_F(LastError, IsNoneWhereTheDriverHasNotedNone) {
    begin();
    wait_for("the question", [&] { return driver->described > 0; });
    const std::uint64_t version = studio().version;
    driver->tell_change({{"input 1", "behind the answer"}});
    wait_for("what stands behind it", [&] { return studio().version > version; });
    EXPECT_EQ(text(), "none");
}

TEST_F(LastError, IsAskedForAgainAndAgain) {
    begin();
    wait_for("the question", [&] { return driver->described > 0; });
    const std::size_t before = told.size();
    driver->errors = {"3000 the fan stands still"};
    push_clock(gateway::last_error_period_us + 1);
    wait_for_text("the fan stands still");
    EXPECT_EQ(told.size(), before + 1);
    EXPECT_EQ(told.back().version, told[before - 1].version); // the picture is the same
    const std::size_t described = driver->described;
    push_clock(gateway::last_error_period_us + 1);
    wait_for("another question", [&] { return driver->described > described; });
    driver->tell_change({{"input 1", "behind the answer"}});
    wait_for("what stands behind it", [&] { return !told.back().news.places.inputs.empty(); });
    EXPECT_EQ(told.size(), before + 2); // the same error is no news
}

TEST_F(LastError, IsAskedForSoonAfterATakeThatFailed) {
    begin();
    wait_for("the question", [&] { return driver->described > 0; });
    push_clock(gateway::last_error_pause_us + 1); // the picture itself was a reason to ask once more
    wait_for("the second question", [&] { return driver->described > 1; });
    driver->errors = {"4000 refused"};
    driver->tell(bytes_of("takes", {{"epoch", driver->epoch},
                                    {"take", "1"},
                                    {"output", "1"},
                                    {"from", "1,1"},
                                    {"to", "2,2"},
                                    {"result", "refused by the router: no"}}));
    push_clock(gateway::last_error_pause_us + 1);
    wait_for_text("refused");
}

TEST_F(LastError, OfADriverThatWasStartedAnewIsForgotten) {
    begin({"1000 of before"});
    wait_for_text("of before");
    driver = nullptr;
    wait_for_state("studio", router_state::no_driver);
    EXPECT_EQ(text(), "of before");
    start_driver(second_epoch);
    driver->answers_describe = true;
    wait_for_text("none");
}

TEST_F(LastError, WithoutATimeOrWithoutEndIsNotBelieved) {
    begin({"1000 " + std::string(5000, 'x')});
    wait_for("an error", [&] { return studio().last_error.has_value(); });
    EXPECT_EQ(text().size(), gateway::error_text_limit);
    driver->errors = {"yesterday it was wrong", "12"};
    push_clock(gateway::last_error_period_us + 1);
    wait_for_text("none");
}

TEST_F(LastError, OfADriverThatDoesNotTellItNobodyKnows) {
    start_driver_and_wait();
    wait_for("both questions", [&] { return driver->described > 0; });
    driver->tell(bytes_of("error", {}, 1, "unknown command 'describe'"));
    driver->tell(bytes_of("error", {}, 1, "unknown command 'describe'"));
    push_clock(gateway::last_error_period_us + 1);
    driver->tell_change({{"input 1", "still told"}});
    wait_for("a change", [&] { return studio().picture.inputs[0].name == "still told"; });
    EXPECT_EQ(studio().state, router_state::up);
    EXPECT_EQ(driver->connections_ever(), 1U);
    EXPECT_EQ(driver->described, 1U);
}
