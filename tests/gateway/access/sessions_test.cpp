#include "opened_store.h"

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
