#include "gateway/layouts/layout_store.h"

#include "gateway/access/database.h"
#include "gateway/settings/limits.h"
#include "opened_store.h"

#include <gmock/gmock.h>

namespace gateway {
namespace {

using kind = layout_answer::kind;
using testing::HasSubstr;

class Layouts : public testing::Test {
protected:
    temporary_directory state;
    std::unique_ptr<access_store> access = opened(state.path());
    std::unique_ptr<layout_store> layouts = std::make_unique<layout_store>(*access);

    void open() {
        layouts.reset();
        access.reset();
        access = opened(state.path());
        layouts = std::make_unique<layout_store>(*access);
    }
    // The id of a new token.
    std::int64_t panel(const std::string& name) {
        return access->of_text(add(*access, wish(name)))->id;
    }
    std::string content(std::int64_t owner, const std::string& router) {
        kept_layout found;
        std::string problem;
        EXPECT_TRUE(layouts->read({owner, router}, &found, &problem)) << problem;
        EXPECT_EQ(found.content.empty(), found.changed == 0);
        return found.content;
    }
    std::int64_t count() {
        std::int64_t rows = -1;
        std::string problem;
        EXPECT_TRUE(access->kept().number("SELECT count(*) FROM layouts", &rows, &problem)) << problem;
        return rows;
    }
    // So many layouts of that many bytes each, without asking for room.
    void fill(std::int64_t owner, std::size_t rows, std::size_t bytes) {
        std::string problem;
        ASSERT_TRUE(access->kept().transaction(
            [&] {
                return access->kept().change(
                    "WITH RECURSIVE numbers (n) AS (SELECT 1 UNION ALL SELECT n + 1 FROM numbers WHERE n < "
                    "?2) "
                    "INSERT INTO layouts (owner, router, token, changed, bytes, content) SELECT ?1, 'r' || "
                    "n, "
                    "nullif(?1, 0), 0, ?3, 'x' FROM numbers",
                    {owner, static_cast<std::int64_t>(rows), static_cast<std::int64_t>(bytes)}, &problem);
            },
            &problem))
            << problem;
    }
};

TEST_F(Layouts, AreOfOneTokenAndOneRouterAndOutliveARestart) {
    const std::int64_t desk = panel("desk"), wall = panel("wall");
    ASSERT_EQ(layouts->write({desk, "studio"}, "{1}", noon).result, kind::done);
    ASSERT_EQ(layouts->write({desk, "archive"}, "{2}", noon).result, kind::done);
    ASSERT_EQ(layouts->write({0, "studio"}, "{3}", noon).result, kind::done);
    ASSERT_EQ(layouts->write({desk, "studio"}, "{4}", noon + 1).result, kind::done);
    for (int start = 0; start < 2; start++) {
        EXPECT_EQ(content(desk, "studio"), "{4}");
        EXPECT_EQ(content(desk, "archive"), "{2}");
        EXPECT_EQ(content(0, "studio"), "{3}");
        EXPECT_EQ(content(wall, "studio"), "");
        kept_layout found;
        std::string problem;
        ASSERT_TRUE(layouts->read({desk, "studio"}, &found, &problem)) << problem;
        EXPECT_EQ(found.changed, noon + 1);
        open();
    }
}

TEST_F(Layouts, AreRemovedOneByOneAndWithTheirToken) {
    const std::int64_t desk = panel("desk"), wall = panel("wall");
    for (const char* router : {"studio", "archive"})
        for (const std::int64_t owner : {desk, wall, std::int64_t{0}})
            ASSERT_EQ(layouts->write({owner, router}, "{}", noon).result, kind::done);
    ASSERT_EQ(layouts->remove({wall, "archive"}).result, kind::done);
    ASSERT_EQ(layouts->remove({wall, "archive"}).result, kind::done) << "there is none any more";
    EXPECT_EQ(count(), 5);
    remove(*access, "desk");
    EXPECT_EQ(count(), 3);
    EXPECT_EQ(content(desk, "studio"), "");
    EXPECT_EQ(content(wall, "studio"), "{}");
    EXPECT_EQ(content(0, "archive"), "{}");
}

TEST_F(Layouts, OfATokenThatHasGoneIsNotKept) {
    const std::int64_t desk = panel("desk");
    remove(*access, "desk");
    const layout_answer answer = layouts->write({desk, "studio"}, "{}", noon);
    EXPECT_EQ(answer.result, kind::failed);
    EXPECT_THAT(answer.problem, HasSubstr("removed"));
    EXPECT_EQ(count(), 0);
    EXPECT_EQ(access->kept().write_problem(), "") << "no trouble with the disk";
}

TEST_F(Layouts, AreLimitedForEachToken) {
    const std::int64_t desk = panel("desk"), wall = panel("wall");
    fill(desk, layouts_per_token_limit, 10);
    const layout_answer one_more = layouts->write({desk, "studio"}, "{}", noon);
    EXPECT_EQ(one_more.result, kind::too_much);
    EXPECT_THAT(one_more.problem, HasSubstr("256 other routers"));
    EXPECT_EQ(layouts->write({desk, "r7"}, "{}", noon).result, kind::done) << "one that is there";
    EXPECT_EQ(layouts->write({wall, "studio"}, "{}", noon).result, kind::done);
    ASSERT_EQ(layouts->remove({desk, "r8"}).result, kind::done);
    EXPECT_EQ(layouts->write({desk, "studio"}, "{}", noon).result, kind::done);
}

TEST_F(Layouts, AreLimitedInTheirBytes) {
    const std::int64_t desk = panel("desk"), wall = panel("wall");
    fill(desk, layouts_bytes_per_token_limit / layout_bytes_limit - 1, layout_bytes_limit);
    const std::string large(layout_bytes_limit, 'x');
    EXPECT_EQ(layouts->write({desk, "studio"}, large, noon).result, kind::done);
    const layout_answer one_more = layouts->write({desk, "archive"}, "{}", noon);
    EXPECT_EQ(one_more.result, kind::too_much);
    EXPECT_THAT(one_more.problem, HasSubstr("2097152 bytes"));
    EXPECT_EQ(layouts->write({desk, "studio"}, "{}", noon).result, kind::done)
        << "a smaller one in its place";
    EXPECT_EQ(layouts->write({wall, "studio"}, large, noon).result, kind::done);
}

TEST_F(Layouts, HoweverManyAreGreedyTheNextOneGetsSome) {
    const std::int64_t desk = panel("desk");
    for (std::size_t at = 0; at < layouts_limit / layouts_per_token_limit - 1; at++)
        fill(panel("greedy " + std::to_string(at)), layouts_per_token_limit, 1);
    fill(panel("last"), layouts_per_token_limit - 2, 1);
    EXPECT_EQ(layouts->write({desk, "studio"}, "{}", noon).result, kind::done);
    EXPECT_EQ(layouts->write({desk, "archive"}, "{}", noon).result, kind::done);
    EXPECT_EQ(layouts->write({desk, "third"}, "{}", noon).result, kind::too_much) << "all of them are there";
    EXPECT_EQ(count(), static_cast<std::int64_t>(layouts_limit));
}

TEST_F(Layouts, StayAsTheyAreWhenADiskRefusesOthers) {
    const std::int64_t desk = panel("desk");
    ASSERT_EQ(layouts->write({desk, "studio"}, "{1}", noon).result, kind::done);
    std::string problem;
    ASSERT_TRUE(access->kept().script("PRAGMA query_only = 1", &problem)) << problem;
    const layout_answer refused = layouts->write({desk, "studio"}, "{2}", noon);
    EXPECT_EQ(refused.result, kind::failed);
    EXPECT_FALSE(refused.problem.empty());
    EXPECT_EQ(layouts->remove({desk, "studio"}).result, kind::failed);
    EXPECT_EQ(content(desk, "studio"), "{1}");
}

} // namespace
} // namespace gateway
