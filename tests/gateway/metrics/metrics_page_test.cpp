#include "gateway/metrics/metrics_page.h"

#include "a_router.h"
#include "gateway/settings/limits.h"

#include <algorithm>
#include <gmock/gmock.h>

namespace gateway {
namespace {

using testing::HasSubstr;
using testing::Not;

constexpr std::uint64_t now_us = 100000000;

shown_router a_router_of_another_site() {
    shown_router router = a_router();
    router.name = "north:studio";
    router.site = "north";
    router.heard_us = now_us - 500000;
    return router;
}

class MetricsPage : public testing::Test {
protected:
    std::vector<shown_router> routers{a_router()};
    token who;
    metrics_wish wish;
    take_figures takes;
    gateway_figures gateway;

    void SetUp() override {
        who.right = role::view;
        shown_router& studio = routers.front();
        studio.picture.backend = vrdx::backend_state::running;
        studio.picture.link = vrdx::link_state::up;
        studio.heard_us = now_us - 2500000;
        studio.connections = 3;
        studio.figures = driver_figures{5, 6, 7, 8500};
    }
    std::string page() {
        std::vector<const shown_router*> shown;
        for (const shown_router& each : routers)
            shown.push_back(&each);
        return metrics_page(who, wish, shown, takes, gateway, now_us);
    }
};

TEST_F(MetricsPage, TellsWhatTheDriverTold) {
    const std::string text = page();
    for (const char* line :
         {"vrdx_driver_up{router=\"studio\"} 1\n", "vrdx_backend_up{router=\"studio\"} 1\n",
          "vrdx_link_up{router=\"studio\"} 1\n", "vrdx_state_age_seconds{router=\"studio\"} 2.5\n",
          "vrdx_reconnects_total{router=\"studio\"} 2\n", "vrdx_clients{router=\"studio\"} 5\n",
          "vrdx_rollbacks_total{router=\"studio\"} 6\n", "vrdx_backend_starts_total{router=\"studio\"} 7\n",
          "vrdx_driver_uptime_seconds{router=\"studio\"} 8.5\n",
          "vrdx_takes_total{router=\"studio\",result=\"confirmed\"} 0\n",
          "vrdx_take_seconds_count{router=\"studio\"} 0\n"})
        EXPECT_THAT(text, HasSubstr(line));
}

TEST_F(MetricsPage, EachMetricBeginsOnceAndInTheTablesOrder) {
    wish.crosspoints = true;
    gateway.has_broker = true;
    gateway.exchanged_history.emplace();
    routers.push_back(a_router_of_another_site());
    const std::string text = page();
    std::size_t from = 0, families = 0;
    for (const metric* each : all_metrics()) {
        const std::size_t found = text.find(std::string("\n# TYPE ") + each->name, from);
        ASSERT_NE(found, std::string::npos) << each->name;
        from = found + 1;
    }
    for (std::size_t at = text.find("# TYPE "); at != std::string::npos; at = text.find("# TYPE ", at + 1))
        families++;
    EXPECT_EQ(families, all_metrics().size());
}

TEST_F(MetricsPage, InventsNothingOfADriverThatDoesNotTell) {
    for (const router_state state : {router_state::no_driver, router_state::stale, router_state::reading}) {
        routers.front().state = state;
        const std::string text = page();
        EXPECT_THAT(text, HasSubstr("vrdx_driver_up{router=\"studio\"} 0\n"));
        for (const char* name : {"vrdx_backend_up", "vrdx_link_up", "vrdx_clients", "vrdx_rollbacks_total",
                                 "vrdx_backend_starts_total", "vrdx_driver_uptime_seconds"})
            EXPECT_THAT(text, Not(HasSubstr(std::string(name) + "{")));
    }
}

TEST_F(MetricsPage, TheLinkIsToldWhereABackendTellsIt) {
    routers.front().picture.link = vrdx::link_state::unknown;
    EXPECT_THAT(page(), Not(HasSubstr("vrdx_link_up{")));
    routers.front().picture.link = vrdx::link_state::down;
    EXPECT_THAT(page(), HasSubstr("vrdx_link_up{router=\"studio\"} 0\n"));
    routers.front().picture.backend = vrdx::backend_state::starting;
    EXPECT_THAT(page(), HasSubstr("vrdx_backend_up{router=\"studio\"} 0\n"));
    EXPECT_THAT(page(), Not(HasSubstr("vrdx_link_up{")));
}

TEST_F(MetricsPage, ADriverThatNeverSaidAnythingHasNoAge) {
    routers.front().heard_us = 0;
    routers.front().connections = 0;
    EXPECT_THAT(page(), Not(HasSubstr("vrdx_state_age_seconds{")));
    EXPECT_THAT(page(), HasSubstr("vrdx_reconnects_total{router=\"studio\"} 0\n"));
}

TEST_F(MetricsPage, ATokenOfSomeRoutersIsToldOfThoseAlone) {
    routers.push_back(a_router(2, 2, "archive"));
    who.routers = {"archive"};
    const std::string text = page();
    EXPECT_THAT(text, HasSubstr("router=\"archive\""));
    EXPECT_THAT(text, Not(HasSubstr("studio")));
    EXPECT_THAT(text, Not(HasSubstr("vrdx_gateway_")));
    EXPECT_THAT(text, Not(HasSubstr("process_")));
}

TEST_F(MetricsPage, TheHistoryIsToldWhereOneIsKept) {
    EXPECT_THAT(page(), Not(HasSubstr("\nvrdx_history_")));
    gateway.kept_history = gateway_figures::history{true, 5, 6, 7000};
    EXPECT_THAT(page(), HasSubstr("\nvrdx_history_up 1\n"));
    EXPECT_THAT(page(), HasSubstr("\nvrdx_history_waiting 5\n"));
    EXPECT_THAT(page(), HasSubstr("\nvrdx_history_lost_total 6\n"));
    EXPECT_THAT(page(), HasSubstr("\nvrdx_history_bytes 7000\n"));
    gateway.kept_history->up = false;
    EXPECT_THAT(page(), HasSubstr("\nvrdx_history_up 0\n"));
    who.routers = {"studio"};
    EXPECT_THAT(page(), Not(HasSubstr("vrdx_history_"))) << "it is of all routers";
}

TEST_F(MetricsPage, WithoutABrokerNothingOfOtherSitesStandsThere) {
    EXPECT_THAT(page(), Not(HasSubstr("vrdx_far_")));
    for (const char* word : {"exchange", "unsent", "sent", "unread", "read"})
        EXPECT_THAT(page(), Not(HasSubstr(std::string("vrdx_history_") + word)));
    gateway.has_broker = true;
    gateway.exchanged_history = gateway_figures::exchange{true, 1, 2, 3, 4};
    EXPECT_THAT(page(), HasSubstr("# TYPE vrdx_far_router_up gauge\n"));
    EXPECT_THAT(page(), HasSubstr("\nvrdx_history_exchange_up 1\n"));
    EXPECT_THAT(page(), HasSubstr("\nvrdx_history_read_total 4\n"));
}

TEST_F(MetricsPage, ARouterWhoseNameIsNoTextIsLeftOutAndCounted) {
    routers.push_back(a_router(2, 2, "a\xff"));
    gateway.routers_beyond_limit = 3;
    const std::string text = page();
    EXPECT_THAT(text, Not(HasSubstr("\xff")));
    EXPECT_THAT(text, HasSubstr("vrdx_gateway_routers 2\n"));
    EXPECT_THAT(text, HasSubstr("vrdx_gateway_routers_left_out 4\n"));
}

TEST_F(MetricsPage, OfRoutersOfOtherSitesOnlyWhetherTheyAreHeardIsTold) {
    routers.push_back(a_router_of_another_site());
    gateway.has_broker = true;
    wish.crosspoints = true;
    const std::string text = page();
    EXPECT_THAT(text, HasSubstr("\nvrdx_far_router_up{router=\"north:studio\"} 1\n"));
    EXPECT_THAT(text, HasSubstr("\nvrdx_far_router_age_seconds{router=\"north:studio\"} 0.5\n"));
    std::size_t told = 0;
    for (std::size_t at = text.find("north"); at != std::string::npos; at = text.find("north", at + 1))
        told++;
    EXPECT_EQ(told, 2U) << "its own gateway tells the rest";
    EXPECT_THAT(text, HasSubstr("vrdx_gateway_routers 1\n"));
    EXPECT_THAT(text, HasSubstr("vrdx_gateway_routers_left_out 0\n"));
}

TEST_F(MetricsPage, CrosspointsAreToldWhenTheyAreWished) {
    vrdx::router_picture& picture = routers.front().picture;
    picture.outputs[1].sources = audio_video(0, 4);
    picture.outputs[2].sources = audio_video(vrdx::source_unknown, 2);
    EXPECT_THAT(page(), Not(HasSubstr("vrdx_crosspoint")));
    wish.crosspoints = true;
    const std::string text = page();
    EXPECT_THAT(text, HasSubstr("vrdx_crosspoint{router=\"studio\",output=\"2\",level=\"video\"} 4\n"
                                "vrdx_crosspoint{router=\"studio\",output=\"2\",level=\"audio\"} 0\n"
                                "vrdx_crosspoint{router=\"studio\",output=\"3\",level=\"video\"} 2\n#"));
    picture.split_levels = false;
    EXPECT_THAT(page(), HasSubstr("vrdx_crosspoint{router=\"studio\",output=\"1\",level=\"all\"} 1\n"));
    routers.front().state = router_state::stale;
    EXPECT_THAT(page(), Not(HasSubstr("vrdx_crosspoint{")));
}

TEST_F(MetricsPage, TooManyCrosspointsAreLeftOutByWholeRouters) {
    wish.crosspoints = true;
    routers.clear();
    constexpr std::size_t outputs = 1024, fit = metrics_crosspoints_limit / outputs;
    for (std::size_t at = 0; at <= fit; at++)
        routers.push_back(a_router(1, outputs, "router " + std::to_string(100 + at)));
    const std::string text = page();
    EXPECT_THAT(text, HasSubstr("vrdx_crosspoint{router=\"router " + std::to_string(99 + fit)));
    EXPECT_THAT(text, Not(HasSubstr("vrdx_crosspoint{router=\"router " + std::to_string(100 + fit))));
    EXPECT_THAT(text, HasSubstr("vrdx_crosspoints_left_out 1024\n"));
}

} // namespace
} // namespace gateway
