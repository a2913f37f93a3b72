#include "gateway/access/lock_table.h"

#include "gateway/access/database.h"
#include "gateway/settings/limits.h"
#include "opened_store.h"

using namespace gateway;
using kind = lock_answer::kind;

namespace {

class LockTable : public testing::Test {
protected:
    LockTable()
        : desk_(added("desk", role::operate)), other_(added("other", role::operate)),
          boss_(added("boss", role::lock)) {
        reopen();
    }

    token added(const std::string& name, role right) {
        if (!store_)
            store_ = opened(state_.path());
        return *store_->of_text(add(*store_, wish(name, right)));
    }
    void reopen() {
        table_.reset();
        store_ = opened(state_.path());
        std::string problem;
        table_ = lock_table::open(*store_, &problem);
        ASSERT_TRUE(table_) << problem;
    }
    lock_answer set(int output, lock_order order, const token& who, const std::string& reason = "",
                    std::int64_t now = noon) {
        return table_->set("studio", output, order, who, reason, now);
    }
    const output_lock* lock(int output) {
        return table_->of("studio", output);
    }

    temporary_directory state_;
    std::unique_ptr<access_store> store_;
    std::unique_ptr<lock_table> table_;
    token desk_, other_, boss_;
};

} // namespace

TEST_F(LockTable, SaysWhoLockedWhatWhyAndSinceWhen) {
    EXPECT_EQ(lock(3), nullptr);
    EXPECT_EQ(set(3, lock_order::lock, desk_, "on air").result, kind::done);
    ASSERT_NE(lock(3), nullptr);
    EXPECT_EQ(*lock(3), (output_lock{lock_state::lock, desk_.id, "desk", "on air", noon}));
    EXPECT_EQ(lock(4), nullptr);
    EXPECT_EQ(table_->of("news", 3), nullptr);
    ASSERT_NE(table_->of_router("studio"), nullptr);
    EXPECT_EQ(table_->of_router("studio")->size(), 1U);
    EXPECT_EQ(table_->of_router("news"), nullptr);
}

TEST_F(LockTable, ALockIsKeptWithWhatTheOutputShows) {
    table_->find_shown_with([](std::string_view router, int output) {
        return router == "studio" && output == 3 ? locked_sources{7, 0} : locked_sources();
    });
    set(3, lock_order::lock, desk_);
    set(4, lock_order::protect, desk_);
    reopen(); // what was answered is there after a kill
    EXPECT_EQ(lock(3)->shown, (locked_sources{7, 0}));
    EXPECT_EQ(lock(4)->shown, locked_sources());
}

TEST_F(LockTable, WhatALockedOutputComesToShowIsKept) {
    set(3, lock_order::protect, desk_);
    table_->note_shown("studio", 3, {2, 2});
    table_->note_shown("studio", 5, {2, 2}); // free
    table_->note_shown("news", 3, {2, 2});
    EXPECT_EQ(lock(3)->shown, (locked_sources{2, 2}));
    table_->keep_shown();
    reopen();
    EXPECT_EQ(lock(3)->shown, (locked_sources{2, 2}));
    table_->note_shown("studio", 3, {4, 4});
    set(3, lock_order::unlock, desk_);
    table_->keep_shown();
    reopen();
    EXPECT_EQ(lock(3), nullptr);
    EXPECT_EQ(lock(5), nullptr);
}

TEST_F(LockTable, ALockThatIsSetAnewKeepsWhatItsOutputShowed) {
    locked_sources found{2, 2};
    table_->find_shown_with([&](std::string_view, int) { return found; });
    set(3, lock_order::lock, desk_);
    found = {}; // a take waits there
    set(4, lock_order::lock, desk_);
    set(3, lock_order::protect, desk_);
    EXPECT_EQ(lock(3)->shown, (locked_sources{2, 2}));
    reopen();
    EXPECT_EQ(lock(3)->shown, (locked_sources{2, 2}));
    table_->find_shown_with([](std::string_view, int) { return locked_sources{5, 5}; });
    set(4, lock_order::protect, desk_);
    EXPECT_EQ(lock(4)->shown, (locked_sources{5, 5})) << "nothing was known of it";
}

TEST_F(LockTable, ALockIsTheSameWhateverItsOutputShows) {
    set(3, lock_order::lock, desk_);
    const output_lock before = *lock(3);
    table_->note_shown("studio", 3, {2, 2});
    EXPECT_NE(lock(3)->shown, before.shown);
    EXPECT_EQ(*lock(3), before);
    output_lock other = before;
    other.reason = "on air";
    EXPECT_FALSE(other == before);
    other = before;
    other.state = lock_state::protect;
    EXPECT_FALSE(other == before);
}

TEST_F(LockTable, WhatIsShownIsKeptAsSoonAsItCanBeWritten) {
    set(3, lock_order::protect, desk_);
    const auto other = opened(state_.path());
    std::string problem;
    store_->wait_no_more();
    ASSERT_TRUE(other->kept().script("BEGIN IMMEDIATE", &problem)) << problem;
    table_->note_shown("studio", 3, {2, 2});
    table_->keep_shown();
    ASSERT_TRUE(other->kept().script("ROLLBACK", &problem)) << problem;
    table_->keep_shown();
    reopen();
    EXPECT_EQ(lock(3)->shown, (locked_sources{2, 2}));
}

TEST_F(LockTable, ALockedOutputIsTakenByNobody) {
    set(3, lock_order::lock, desk_);
    EXPECT_FALSE(lock_lets_take(*lock(3), desk_));
    EXPECT_FALSE(lock_lets_take(*lock(3), other_));
    EXPECT_FALSE(lock_lets_take(*lock(3), boss_));
}

TEST_F(LockTable, AProtectedOutputIsTakenByItsOwner) {
    set(3, lock_order::protect, desk_);
    EXPECT_TRUE(lock_lets_take(*lock(3), desk_));
    EXPECT_FALSE(lock_lets_take(*lock(3), other_));
    EXPECT_FALSE(lock_lets_take(*lock(3), boss_));
}

TEST_F(LockTable, TellsOwnerAndReason) {
    set(1, lock_order::lock, desk_, "on air");
    set(2, lock_order::protect, other_);
    EXPECT_EQ(lock_text(*lock(1)), "locked by \"desk\": on air");
    EXPECT_EQ(lock_text(*lock(2)), "protected by \"other\"");
}

TEST_F(LockTable, TheOwnerMayChangeAndRemoveIt) {
    set(3, lock_order::lock, desk_, "on air");
    EXPECT_EQ(set(3, lock_order::protect, desk_, "rehearsal", noon + 5).result, kind::done);
    EXPECT_EQ(*lock(3), (output_lock{lock_state::protect, desk_.id, "desk", "rehearsal", noon + 5}));
    EXPECT_EQ(set(3, lock_order::protect, desk_, "rehearsal", noon + 9).result, kind::unchanged);
    EXPECT_EQ(lock(3)->since, noon + 5);
    EXPECT_EQ(set(3, lock_order::unlock, desk_).result, kind::done);
    EXPECT_EQ(lock(3), nullptr);
    EXPECT_EQ(set(3, lock_order::unlock, desk_).result, kind::unchanged);
}

TEST_F(LockTable, AnotherOneMayNot) {
    set(3, lock_order::lock, desk_, "on air");
    for (const lock_order order : {lock_order::lock, lock_order::protect, lock_order::unlock})
        for (const token& who : {other_, boss_}) {
            const lock_answer answer = set(3, order, who);
            EXPECT_EQ(answer.result, kind::held);
            EXPECT_EQ(answer.problem,
                      "output 3 is locked by \"desk\": on air; possible: its owner unlocks it, or "
                      "a token with the role lock forces it");
        }
    EXPECT_EQ(lock(3)->owner, "desk");
}

TEST_F(LockTable, ForceNeedsTheRoleLock) {
    set(3, lock_order::lock, desk_);
    const lock_answer refused = set(3, lock_order::force, other_);
    EXPECT_EQ(refused.result, kind::not_allowed);
    EXPECT_EQ(refused.problem,
              "to remove a lock by force needs the role lock; token \"other\" has the role operate");
    EXPECT_NE(lock(3), nullptr);
    EXPECT_EQ(set(3, lock_order::force, boss_).result, kind::done);
    EXPECT_EQ(lock(3), nullptr);
    EXPECT_EQ(set(3, lock_order::force, boss_).result, kind::unchanged);
}

TEST_F(LockTable, StaysWithinTheTokensRights) {
    token viewer = desk_;
    viewer.right = role::view;
    EXPECT_EQ(set(3, lock_order::lock, viewer).result, kind::not_allowed);
    token narrow = desk_;
    std::string problem;
    narrow.outputs = number_list::parse("1-2", &problem).value();
    EXPECT_EQ(set(3, lock_order::lock, narrow).result, kind::not_allowed);
    EXPECT_EQ(set(2, lock_order::lock, narrow).result, kind::done);
    set(3, lock_order::lock, desk_);
    EXPECT_EQ(set(3, lock_order::unlock, narrow).result, kind::not_allowed);
}

TEST_F(LockTable, LocksOutliveARestart) {
    set(3, lock_order::lock, desk_, "on air");
    set(4, lock_order::protect, other_);
    table_->set("news", 1, lock_order::lock, boss_, "", noon);
    set(5, lock_order::lock, desk_);
    set(5, lock_order::unlock, desk_);
    const output_lock before = *lock(3);
    reopen();
    ASSERT_NE(lock(3), nullptr);
    EXPECT_EQ(*lock(3), before);
    EXPECT_EQ(lock(4)->state, lock_state::protect);
    EXPECT_NE(table_->of("news", 1), nullptr);
    EXPECT_EQ(lock(5), nullptr);
}

TEST_F(LockTable, ALockOutlivesItsTokenAndCanBeForced) {
    set(3, lock_order::lock, desk_, "on air");
    remove(*store_, "desk");
    ASSERT_NE(lock(3), nullptr);
    const token namesake = added("desk", role::operate);
    EXPECT_EQ(set(3, lock_order::unlock, namesake).result, kind::held)
        << "the same name is not the same token";
    reopen();
    EXPECT_EQ(lock(3)->owner, "desk");
    EXPECT_EQ(set(3, lock_order::force, boss_).result, kind::done);
}

TEST_F(LockTable, ThoseWithoutATokenAreOneOwner) {
    const token anonymous = anonymous_token(role::operate);
    EXPECT_EQ(set(3, lock_order::protect, anonymous).result, kind::done);
    EXPECT_EQ(lock_text(*lock(3)), "protected by \"anonymous\"");
    EXPECT_TRUE(lock_lets_take(*lock(3), anonymous));
    EXPECT_FALSE(lock_lets_take(*lock(3), desk_));
    EXPECT_EQ(set(3, lock_order::unlock, anonymous).result, kind::done);
}

TEST_F(LockTable, AReasonIsOneLineOfText) {
    const lock_answer answer = set(3, lock_order::lock, desk_, "a\nb");
    EXPECT_EQ(answer.result, kind::wrong);
    EXPECT_EQ(answer.problem, "that is no reason; possible: one line of up to 256 bytes of UTF-8");
    EXPECT_EQ(lock(3), nullptr);
}

TEST_F(LockTable, WhatIsNotWrittenHasNotChanged) {
    set(3, lock_order::lock, desk_);
    const auto other = opened(state_.path());
    std::string problem;
    ASSERT_TRUE(other->kept().script("BEGIN IMMEDIATE", &problem)) << problem;
    std::string busy_problem;
    store_->kept().script("PRAGMA busy_timeout = 1", &busy_problem);
    const lock_answer answer = set(4, lock_order::lock, desk_);
    EXPECT_EQ(answer.result, kind::busy);
    EXPECT_EQ(answer.problem,
              state_.file("access.db") + " is being written by another program; possible: try again");
    EXPECT_EQ(lock(4), nullptr);
    EXPECT_EQ(set(3, lock_order::unlock, desk_).result, kind::busy);
    EXPECT_NE(lock(3), nullptr);
    ASSERT_TRUE(other->kept().script("ROLLBACK", &problem)) << problem;
    EXPECT_EQ(set(3, lock_order::unlock, desk_).result, kind::done);
}

TEST_F(LockTable, HoldsSoManyLocks) {
    std::string problem;
    ASSERT_TRUE(store_->kept().script(
        "INSERT INTO locks (router, output, state, owner, owner_name, reason, since) "
        "WITH RECURSIVE n (i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 131072) "
        "SELECT 'huge' || (i / 1024), i % 1024 + 1, 'lock', 1, 'desk', '', 0 FROM n",
        &problem))
        << problem;
    reopen();
    const lock_answer answer = set(1, lock_order::lock, desk_);
    EXPECT_EQ(answer.result, kind::failed);
    EXPECT_EQ(answer.problem, "there are 131072 locks already; possible: unlock others");
    EXPECT_EQ(table_->set("huge1", 1, lock_order::force, boss_, "", noon).result, kind::done);
    EXPECT_EQ(set(1, lock_order::lock, desk_).result, kind::done);
}

TEST(LockOrder, HasAWord) {
    EXPECT_EQ(lock_order_of_word("lock"), lock_order::lock);
    EXPECT_EQ(lock_order_of_word("protect"), lock_order::protect);
    EXPECT_EQ(lock_order_of_word("unlock"), lock_order::unlock);
    EXPECT_EQ(lock_order_of_word("force"), lock_order::force);
    EXPECT_EQ(lock_order_of_word("Lock"), std::nullopt);
    EXPECT_EQ(lock_word(lock_state::lock), "lock");
    EXPECT_EQ(lock_word(lock_state::protect), "protect");
}

TEST_F(LockTable, SeveralAreSetTogetherOrNotAtAll) {
    set(3, lock_order::lock, other_);
    const std::vector<lock_wish> with_anothers = {{2, lock_order::protect}, {3, lock_order::unlock}};
    EXPECT_EQ(table_->set_all("studio", with_anothers, desk_, "", noon).result, kind::held);
    EXPECT_EQ(lock(2), nullptr);
    const std::vector<lock_wish> possible = {
        {2, lock_order::protect}, {4, lock_order::lock}, {5, lock_order::unlock}};
    EXPECT_EQ(table_->set_all("studio", possible, desk_, "", noon).result, kind::done);
    EXPECT_EQ(table_->set_all("studio", possible, desk_, "", noon).result, kind::unchanged);
    reopen();
    EXPECT_EQ(table_->of_router("studio")->size(), 3U);
    EXPECT_EQ(lock(2)->state, lock_state::protect);
    const std::vector<lock_wish> free = {{2, lock_order::unlock}, {4, lock_order::unlock}};
    EXPECT_EQ(table_->set_all("studio", free, desk_, "", noon).result, kind::done);
    EXPECT_EQ(table_->of_router("studio")->size(), 1U);
}

TEST_F(LockTable, ItsVersionRisesOnceWithWhatChanges) {
    const std::uint64_t first = table_->version();
    table_->set_all("studio", {{1, lock_order::lock}, {2, lock_order::lock}}, desk_, "", noon);
    EXPECT_EQ(table_->version(), first + 1);
    set(1, lock_order::lock, desk_);
    set(1, lock_order::unlock, other_);
    EXPECT_EQ(table_->version(), first + 1);
    set(1, lock_order::unlock, desk_);
    EXPECT_EQ(table_->version(), first + 2);
}

TEST_F(LockTable, TellsEachChangeOnceItIsKept) {
    std::vector<int> told;
    table_->listen([&](const std::string& router, int output) {
        EXPECT_EQ(router, "studio");
        told.push_back(lock(output) == nullptr ? -output : output);
    });
    set(3, lock_order::lock, desk_);
    set(3, lock_order::lock, desk_);
    set(3, lock_order::unlock, other_);
    set(3, lock_order::unlock, desk_);
    table_->set_all("studio", {{1, lock_order::protect}, {2, lock_order::protect}}, desk_, "", noon);
    EXPECT_EQ(told, (std::vector<int>{3, -3, 1, 2}));
}
