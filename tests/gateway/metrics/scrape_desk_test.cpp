// Figures that are asked of drivers which the test plays.
#include "gateway/metrics/scrape_desk.h"

#include "gateway/settings/limits.h"
#include "played_driver.h"

#include <gmock/gmock.h>

using gateway::metrics_format;
using testing::HasSubstr;
using testing::Not;

namespace {

class Scrapes : public PlayedDriver {
protected:
    std::unique_ptr<gateway::scrape_desk> desk;
    gateway::gateway_figures of_gateway;
    int gateway_asked = 0;

    void SetUp() override {
        PlayedDriver::SetUp();
        desk = std::make_unique<gateway::scrape_desk>(loop, *board, [this] {
            ++gateway_asked;
            return of_gateway;
        });
        board->listen([this](const gateway::router_news& news) { desk->hear(news); });
    }
    static std::shared_ptr<const gateway::token> a_token(std::int64_t id) {
        auto who = std::make_shared<gateway::token>();
        who->id = id;
        who->right = gateway::role::view;
        return who;
    }
    // The text, once it is there.
    std::shared_ptr<std::string> scrape(std::int64_t id = 1, metrics_format format = metrics_format::plain) {
        auto text = std::make_shared<std::string>();
        desk->scrape(a_token(id), {format, false},
                     [text](const std::shared_ptr<const std::string>& found) { *text += *found; });
        return text;
    }
    std::string wait_for_text(const std::shared_ptr<std::string>& text) {
        wait_for("the figures", [&] { return !text->empty(); });
        return *text;
    }
    void answer_with(const std::string& clients) {
        driver->figures = [this, clients] {
            return bytes_of("describe", {{"epoch", driver->epoch}, {"sequence", "1"}, {"clients", clients}});
        };
    }
};

} // namespace

TEST_F(Scrapes, TellWhatTheDriverTellsNow) {
    start_answering_driver_and_wait();
    answer_with("7");
    EXPECT_THAT(wait_for_text(scrape()), HasSubstr("vrdx_clients{router=\"studio\"} 7\n"));
}

TEST_F(Scrapes, DoNotWaitForASilentDriver) {
    start_driver_and_wait(); // it answers nothing but what it tells by itself
    const auto text = scrape();
    EXPECT_EQ(*text, "");
    wait_for_text(text);
    EXPECT_THAT(*text, HasSubstr("vrdx_driver_up{router=\"studio\"} 1\n"));
    EXPECT_THAT(*text, Not(HasSubstr("vrdx_clients{")));
}

TEST_F(Scrapes, AtOnceAreAnsweredTogether) {
    start_answering_driver_and_wait();
    answer_with("7");
    const auto first = scrape(1), second = scrape(2);
    EXPECT_EQ(*first + *second, "");
    wait_for_text(second);
    for (const auto& text : {first, second})
        EXPECT_THAT(*text, HasSubstr("vrdx_clients{router=\"studio\"} 7\n"));
}

TEST_F(Scrapes, OfOneTokenGetTheSameTextForAWhile) {
    start_answering_driver_and_wait();
    answer_with("7");
    const std::uint64_t began = monotonic_us();
    wait_for_text(scrape());
    ASSERT_EQ(gateway_asked, 1);
    wait_for("another text", [&] {
        scrape();
        if (gateway_asked == 1)
            clock_pushed_us += gateway::metrics_fresh_us / 4;
        return gateway_asked == 2;
    });
    EXPECT_GE(monotonic_us() - began, gateway::metrics_fresh_us);
}

TEST_F(Scrapes, OfEachTokenAndFormatHaveATextOfTheirOwn) {
    start_answering_driver_and_wait();
    answer_with("7");
    const auto plain = scrape(1), open = scrape(1, metrics_format::open), other = scrape(2);
    wait_for_text(other);
    EXPECT_EQ(gateway_asked, 3);
    EXPECT_NE(*plain, *open);
}

TEST_F(Scrapes, CountTakesAsTheDriverTellsThem) {
    start_answering_driver_and_wait();
    answer_with("1");
    driver->tell(bytes_of("takes", {{"epoch", driver->epoch},
                                    {"lost", "4"},
                                    {"take", "5"},
                                    {"time", "1"},
                                    {"way", "route"},
                                    {"user", "0"},
                                    {"pid", "1"},
                                    {"output", "1"},
                                    {"level", "all"},
                                    {"from", "1,1"},
                                    {"to", "2,2"},
                                    {"result", "confirmed"},
                                    {"milliseconds", "30"}}));
    driver->tell_change({{"input 1", "the last one"}});
    wait_for("the takes", [&] { return studio().picture.inputs[0].name == "the last one"; });
    const std::string text = wait_for_text(scrape());
    EXPECT_THAT(text, HasSubstr("vrdx_takes_total{router=\"studio\",result=\"confirmed\"} 1\n"));
    EXPECT_THAT(text, HasSubstr("vrdx_takes_unheard_total{router=\"studio\"} 4\n"));
    EXPECT_THAT(text, HasSubstr("vrdx_take_seconds_sum{router=\"studio\"} 0.03\n"));
}
