#include "gateway/metrics/take_figures.h"

#include "a_router.h"

#include <gtest/gtest.h>
#include <numeric>

namespace gateway {
namespace {

vrdx::take_record decided(vrdx::take_word word, std::uint64_t milliseconds) {
    vrdx::take_record record;
    record.result.word = word;
    record.milliseconds = milliseconds;
    return record;
}

std::uint64_t decided_count(const router_takes& takes, vrdx::take_word word) {
    return takes.decided.at(static_cast<std::size_t>(word));
}

class TakeFigures : public testing::Test {
protected:
    take_figures figures;

    void hear(const std::string& router, const std::vector<vrdx::take_record>& takes, std::uint64_t lost = 0,
              bool gone = false) {
        const shown_router shown = a_router(4, 3, router);
        router_news news;
        news.router = &shown;
        news.takes = takes;
        news.takes_lost = lost;
        news.gone = gone;
        figures.hear(news);
    }
};

using word = vrdx::take_word;

} // namespace

TEST_F(TakeFigures, CountEachResultOfEachRouter) {
    hear("studio", {decided(word::confirmed, 20), decided(word::refused, 1), decided(word::confirmed, 900)});
    hear("archive", {decided(word::other, 1)});
    EXPECT_EQ(decided_count(*figures.of("studio"), word::confirmed), 2U);
    EXPECT_EQ(decided_count(*figures.of("studio"), word::refused), 1U);
    EXPECT_EQ(decided_count(*figures.of("studio"), word::other), 0U);
    EXPECT_EQ(decided_count(*figures.of("archive"), word::other), 1U);
}

TEST_F(TakeFigures, MeasureConfirmedTakesAlone) {
    hear("studio", {decided(word::confirmed, 20), decided(word::unknown, 3000), decided(word::refused, 1)});
    const duration_counts& times = figures.of("studio")->confirmed;
    EXPECT_EQ(times.sum_ms, 20U);
    EXPECT_EQ(std::accumulate(times.counts.begin(), times.counts.end(), std::uint64_t{0}), 1U);
}

TEST_F(TakeFigures, CountThoseThatWereNotTold) {
    hear("studio", {}, 4);
    hear("studio", {decided(word::confirmed, 20)}, 3);
    EXPECT_EQ(figures.of("studio")->unheard, 7U);
}

TEST_F(TakeFigures, ForgetARouterThatIsGone) {
    hear("studio", {decided(word::confirmed, 20)});
    hear("studio", {}, 0, true);
    EXPECT_EQ(figures.of("studio"), nullptr);
    EXPECT_EQ(figures.of("never heard of"), nullptr);
}

TEST(ResultText, IsTheOneOfTheApi) {
    EXPECT_STREQ(result_text(word::replaced_unsent), "replaced unsent");
    EXPECT_STREQ(result_text(word::other), "other");
}

} // namespace gateway
