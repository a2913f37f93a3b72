#include "opened_store.h"

#include "gateway/access/database.h"
#include "gateway/settings/limits.h"

using gateway::session_grant;
using gateway::token;

namespace {

class Sessions : public testing::Test {
protected:
    Sessions() : store_(opened(state_.path())), desk_(*store_->of_text(add(*store_, wish("desk")))) {}

    session_grant begin(bool kept = false, std::int64_t now = noon) {
        std::string problem;
        const auto grant = store_->begin_session(desk_, kept, now, &problem);
        EXPECT_TRUE(grant) << problem;
        return grant.value_or(session_grant());
    }
    bool knows(const session_grant& grant, std::int64_t now = noon) {
        return store_->of_session(grant.text, now).owner != nullptr;
    }

    temporary_directory state_;
    std::unique_ptr<gateway::access_store> store_;
    token desk_;
};

} // namespace

TEST_F(Sessions, StandForTheirToken) {
    const session_grant grant = begin();
    EXPECT_EQ(grant.text.size(), 43U);
    const gateway::known_session found = store_->of_session(grant.text, noon);
    ASSERT_TRUE(found.owner);
    EXPECT_EQ(*found.owner, desk_);
    EXPECT_EQ(found.id, grant.id);
    EXPECT_FALSE(store_->of_session(grant.text + "x", noon).owner);
    EXPECT_FALSE(store_->of_session("", noon).owner);
    EXPECT_FALSE(store_->of_text(grant.text)) << "a session is no token";
}

TEST_F(Sessions, EachHasASecretOfItsOwn) {
    const session_grant one = begin();
    const session_grant other = begin();
    EXPECT_NE(one.text, other.text);
    EXPECT_NE(one.id, other.id);
}

TEST_F(Sessions, LastTwelveHoursOrThirtyDays) {
    const session_grant brief = begin(false);
    const session_grant kept = begin(true);
    EXPECT_FALSE(brief.kept);
    EXPECT_TRUE(kept.kept);
    EXPECT_EQ(brief.until, noon + 43200);
    EXPECT_EQ(kept.until, noon + 2592000);
    EXPECT_TRUE(knows(brief, brief.until - 1));
    EXPECT_FALSE(knows(brief, brief.until));
    EXPECT_TRUE(knows(kept, kept.until - 1));
    EXPECT_FALSE(knows(kept, kept.until));
}

TEST_F(Sessions, ThatAreOverAreToldOnceAndForgotten) {
    const session_grant brief = begin(false);
    const session_grant kept = begin(true);
    EXPECT_TRUE(store_->look(brief.until - 1).ended_sessions.empty());
    EXPECT_EQ(store_->look(brief.until).ended_sessions, std::vector<std::int64_t>{brief.id});
    EXPECT_TRUE(store_->look(brief.until).ended_sessions.empty());
    store_ = opened(state_.path());
    EXPECT_FALSE(knows(brief, noon)) << "not even for a clock that went back";
    EXPECT_TRUE(knows(kept));
}

// A disk that takes nothing, or another program that writes for long, must not give anybody more time.
TEST_F(Sessions, EndThoughThatCannotBeWritten) {
    const session_grant brief = begin(false);
    const session_grant left = begin(true);
    const auto other = opened(state_.path());
    std::string problem;
    ASSERT_TRUE(other->kept().script("BEGIN IMMEDIATE", &problem)) << problem;
    store_->kept().script("PRAGMA busy_timeout = 1", &problem);
    const gateway::access_news news = store_->look(brief.until);
    EXPECT_EQ(news.ended_sessions, std::vector<std::int64_t>{brief.id});
    EXPECT_EQ(news.problem, "") << "who writes is done soon";
    for (std::uint64_t look = 0; look < gateway::busy_looks_limit; ++look)
        problem = store_->look(brief.until).problem;
    EXPECT_NE(problem.find("is being written by another program"), std::string::npos) << problem;
    EXPECT_FALSE(store_->end_session(left.text, &problem));
    EXPECT_TRUE(store_->is_busy());
    EXPECT_FALSE(knows(left));
    EXPECT_EQ(store_->look(brief.until).ended_sessions, std::vector<std::int64_t>{left.id});
    ASSERT_TRUE(other->kept().script("ROLLBACK", &problem)) << problem;
    EXPECT_EQ(store_->look(brief.until).problem, "");
    store_ = opened(state_.path());
    EXPECT_FALSE(knows(brief)) << "a later look has written it";
    EXPECT_FALSE(knows(left));
}

TEST_F(Sessions, ThatHaveEndedDoNotComeBackWhenAnotherProgramHasWritten) {
    const session_grant grant = begin(true);
    const auto other = opened(state_.path());
    std::string problem;
    ASSERT_TRUE(other->kept().script("BEGIN IMMEDIATE", &problem)) << problem;
    store_->wait_no_more();
    EXPECT_FALSE(store_->end_session(grant.text, &problem));
    ASSERT_TRUE(other->kept().script("UPDATE tokens SET created = created + 1; COMMIT", &problem)) << problem;
    ASSERT_TRUE(other->kept().script("BEGIN IMMEDIATE", &problem)) << problem;
    store_->look(noon); // reads what was written, and cannot write itself
    EXPECT_FALSE(knows(grant));
    ASSERT_TRUE(other->kept().script("ROLLBACK", &problem)) << problem;
    EXPECT_TRUE(store_->end_session(grant.text, &problem)) << problem;
    store_ = opened(state_.path());
    EXPECT_FALSE(knows(grant));
}

TEST_F(Sessions, AreHeldByAClockThatGoesBackALittleAndNotByOneThatIsWrong) {
    const session_grant kept = begin(true);
    const session_grant brief = begin(false);
    EXPECT_TRUE(knows(kept, noon - 3600));
    EXPECT_TRUE(knows(brief, noon - 3600));
    const std::int64_t a_year = 31536000;
    EXPECT_FALSE(knows(kept, noon - a_year)) << "begun by a clock that ran ahead, it would last a year";
    EXPECT_FALSE(knows(brief, noon - a_year));
    EXPECT_TRUE(store_->look(noon - a_year).ended_sessions.empty()) << "the clock may be right again soon";
    EXPECT_TRUE(knows(kept));
    const session_grant ahead = begin(true, noon + a_year);
    EXPECT_FALSE(knows(ahead));
}

TEST_F(Sessions, ThatAreKeptAndUsedEachDayDoNotEnd) {
    const session_grant kept = begin(true);
    const session_grant unused = begin(true);
    const session_grant brief = begin(false);
    const std::int64_t a_day = 86400;
    EXPECT_TRUE(knows(brief, brief.until - 1));
    for (std::int64_t day = 1; day <= 60; ++day) {
        EXPECT_TRUE(knows(kept, noon + day * a_day)) << day;
        store_->look(noon + day * a_day);
    }
    EXPECT_FALSE(knows(unused, noon + 60 * a_day));
    EXPECT_FALSE(knows(brief, brief.until));
    store_ = opened(state_.path());
    EXPECT_TRUE(knows(kept, noon + 89 * a_day)) << "it is on the disk";
    EXPECT_FALSE(knows(kept, noon + 90 * a_day));
}

TEST_F(Sessions, AreProlongedOnceADay) {
    const session_grant kept = begin(true);
    const auto writes = [&] {
        std::int64_t changes = 0;
        std::string problem;
        EXPECT_TRUE(store_->kept().number("SELECT total_changes()", &changes, &problem)) << problem;
        return changes;
    };
    const std::int64_t before = writes();
    const std::int64_t day = noon + 86400;
    EXPECT_TRUE(knows(kept, day - 1));
    store_->look(day - 1);
    EXPECT_EQ(writes(), before);
    for (std::int64_t second = 0; second < 100; ++second) {
        EXPECT_TRUE(knows(kept, day + second));
        store_->look(day + second);
    }
    EXPECT_EQ(writes(), before + 1);
}

TEST_F(Sessions, AreProlongedAsSoonAsTheyCanBeWritten) {
    const session_grant kept = begin(true);
    const auto other = opened(state_.path());
    std::string problem;
    store_->wait_no_more();
    ASSERT_TRUE(other->kept().script("BEGIN IMMEDIATE", &problem)) << problem;
    const std::int64_t later = noon + 86400;
    EXPECT_TRUE(knows(kept, later));
    EXPECT_EQ(store_->look(later).problem, "") << "who writes is done soon";
    ASSERT_TRUE(other->kept().script("ROLLBACK", &problem)) << problem;
    store_->look(later);
    EXPECT_TRUE(knows(kept, kept.until));
}

TEST_F(Sessions, OutliveARestart) {
    const session_grant grant = begin();
    store_ = opened(state_.path());
    EXPECT_TRUE(knows(grant));
    EXPECT_EQ(store_->of_session(grant.text, noon).id, grant.id);
}

TEST_F(Sessions, EndWhenTheyAreEnded) {
    const session_grant grant = begin();
    const session_grant other = begin();
    std::string problem;
    EXPECT_TRUE(store_->end_session(grant.text, &problem)) << problem;
    EXPECT_FALSE(knows(grant));
    EXPECT_TRUE(knows(other));
    EXPECT_EQ(store_->look(noon).ended_sessions, std::vector<std::int64_t>{grant.id});
    EXPECT_TRUE(store_->end_session(grant.text, &problem)) << "it has ended already";
    EXPECT_TRUE(store_->end_session("nonsense", &problem));
    store_ = opened(state_.path());
    EXPECT_FALSE(knows(grant));
}

TEST_F(Sessions, EndWithTheirToken) {
    const session_grant grant = begin(true);
    remove(*store_, "desk");
    EXPECT_FALSE(knows(grant));
    EXPECT_EQ(store_->look(noon).ended_sessions, std::vector<std::int64_t>{grant.id});
    store_ = opened(state_.path());
    EXPECT_FALSE(knows(grant));
}

TEST_F(Sessions, EndWithTheirTokenWhoeverRemovesIt) {
    const session_grant grant = begin(true);
    remove(*opened(state_.path()), "desk");
    EXPECT_EQ(store_->look(noon).ended_sessions, std::vector<std::int64_t>{grant.id});
    EXPECT_FALSE(knows(grant));
}

TEST_F(Sessions, GoOnWhenAnotherTokenIsAddedOrRemoved) {
    const session_grant grant = begin();
    const auto other = opened(state_.path());
    add(*other, wish("gallery"));
    store_->look(noon);
    remove(*other, "gallery");
    EXPECT_TRUE(store_->look(noon).ended_sessions.empty());
    EXPECT_TRUE(knows(grant));
}

TEST_F(Sessions, OfOneTokenAreSoMany) {
    std::vector<session_grant> grants;
    for (std::size_t i = 0; i < gateway::sessions_per_token_limit; ++i)
        grants.push_back(begin());
    EXPECT_TRUE(knows(grants.front()));
    const session_grant further = begin();
    EXPECT_FALSE(knows(grants.front())) << "the oldest one gives way";
    EXPECT_TRUE(knows(grants[1]));
    EXPECT_TRUE(knows(further));
    EXPECT_EQ(store_->look(noon).ended_sessions, std::vector<std::int64_t>{grants.front().id});
    store_ = opened(state_.path());
    EXPECT_FALSE(knows(grants.front()));
    EXPECT_TRUE(knows(further));
}

TEST_F(Sessions, AreForTokensThatAreThere) {
    std::string problem;
    EXPECT_FALSE(store_->begin_session(gateway::anonymous_token(gateway::role::admin), true, noon, &problem));
    EXPECT_EQ(problem, "a session needs a token; possible: one that `token list` shows");
    remove(*store_, "desk");
    EXPECT_FALSE(store_->begin_session(desk_, true, noon, &problem));
}

TEST_F(Sessions, AreNotBegunForATokenThatAnotherProcessHasJustRemoved) {
    remove(*opened(state_.path()), "desk");
    std::string problem;
    EXPECT_FALSE(store_->begin_session(desk_, true, noon, &problem));
    EXPECT_EQ(problem, "a session needs a token; possible: one that `token list` shows");
}
