#include "gateway/access/idempotency.h"
#include "gateway/settings/limits.h"

#include <gtest/gtest.h>

#include <functional>

using namespace gateway;

namespace {

kept_answer answer_of(const std::string& body) {
    return {200, "application/json", std::make_shared<const std::string>(body)};
}

class Idempotency : public testing::Test {
protected:
    key_state begin(const std::string& key, std::uint64_t now_ms = 0, std::int64_t token_id = 1,
                    const std::string& hash = "hash") {
        told_ = {};
        return table_.begin(token_id, key, hash, now_ms, &told_,
                            [this](const kept_answer& answer) { later_.push_back(answer.body); });
    }

    // Uses as many keys as the token gets: how many those are.
    std::size_t use_up(std::int64_t token_id) {
        std::size_t begun = 0;
        while (begin(std::to_string(begun), 0, token_id) == key_state::first)
            ++begun;
        return begun;
    }

    idempotency_table table_;
    kept_answer told_;                                      // by the last begin()
    std::vector<std::shared_ptr<const std::string>> later_; // what those that wait were answered
};

} // namespace

TEST_F(Idempotency, TheSameRequestGetsTheFirstAnswer) {
    ASSERT_EQ(begin("k"), key_state::first);
    const kept_answer first = answer_of("done");
    table_.finish(1, "k", first, true, 100);
    ASSERT_EQ(begin("k", 60099), key_state::answered);
    EXPECT_EQ(told_.status, 200U);
    EXPECT_EQ(told_.content_type, "application/json");
    EXPECT_EQ(told_.body, first.body) << "shared, not copied";
}

TEST_F(Idempotency, AKeyIsFreeAMinuteAfterItsAnswer) {
    ASSERT_EQ(begin("k", 0), key_state::first);
    ASSERT_EQ(begin("k", 500000), key_state::running) << "as long as there is no answer";
    table_.finish(1, "k", answer_of("done"), true, 500000);
    EXPECT_EQ(begin("k", 559999), key_state::answered);
    EXPECT_EQ(begin("k", 560000), key_state::first);
    EXPECT_EQ(table_.size(), 1U);
    EXPECT_EQ(table_.bytes(), 0U);
}

TEST_F(Idempotency, AnotherRequestWithTheSameKeyIsWrong) {
    ASSERT_EQ(begin("k"), key_state::first);
    EXPECT_EQ(begin("k", 0, 1, "other"), key_state::other_body);
    table_.finish(1, "k", answer_of("done"), true, 0);
    EXPECT_EQ(begin("k", 1, 1, "other"), key_state::other_body);
    EXPECT_EQ(begin("k", 2), key_state::answered);
}

TEST_F(Idempotency, KeysBelongToTheirToken) {
    ASSERT_EQ(begin("k", 0, 1), key_state::first);
    EXPECT_EQ(begin("k", 0, 2, "other"), key_state::first);
}

TEST_F(Idempotency, WhoAsksMeanwhileWaitsForTheSameAnswer) {
    ASSERT_EQ(begin("k"), key_state::first);
    ASSERT_EQ(begin("k"), key_state::running);
    ASSERT_EQ(begin("k"), key_state::running);
    EXPECT_TRUE(later_.empty());
    const kept_answer first = answer_of("done");
    table_.finish(1, "k", first, true, 0);
    ASSERT_EQ(later_.size(), 2U);
    EXPECT_EQ(later_[0], first.body);
    EXPECT_EQ(later_[1], first.body);
    table_.finish(1, "k", answer_of("again"), true, 0);
    EXPECT_EQ(later_.size(), 2U) << "each is answered once";
    begin("k");
    EXPECT_EQ(told_.body, first.body) << "the first answer stays";
}

TEST_F(Idempotency, NotManyWait) {
    ASSERT_EQ(begin("k"), key_state::first);
    for (std::size_t i = 0; i < idempotency_waiting_limit; ++i)
        ASSERT_EQ(begin("k"), key_state::running);
    EXPECT_EQ(begin("k"), key_state::full);
    table_.finish(1, "k", answer_of("done"), true, 0);
    EXPECT_EQ(later_.size(), idempotency_waiting_limit);
}

TEST_F(Idempotency, WhatWasNotDoneMayBeTriedAgain) {
    ASSERT_EQ(begin("k"), key_state::first);
    ASSERT_EQ(begin("k"), key_state::running);
    table_.finish(1, "k", answer_of("too many"), false, 0);
    EXPECT_EQ(later_.size(), 1U);
    EXPECT_EQ(table_.size(), 0U);
    EXPECT_EQ(begin("k", 0, 1, "other"), key_state::first);
}

TEST_F(Idempotency, AnAnswerThatWaitsMayBeginTheNextRequest) {
    ASSERT_EQ(begin("k"), key_state::first);
    kept_answer ignored;
    key_state next = key_state::full;
    ASSERT_EQ(table_.begin(1, "k", "hash", 0, &ignored, [&](const kept_answer&) { next = begin("k", 0); }),
              key_state::running);
    table_.finish(1, "k", answer_of("tried"), false, 0);
    EXPECT_EQ(next, key_state::first);
}

TEST_F(Idempotency, AKeyIsPrintable) {
    for (const std::string& key : {std::string(), std::string("a\nb"), std::string("\x7f"),
                                   std::string("\xc3\xa9"), std::string(idempotency_key_limit + 1, 'k')})
        EXPECT_EQ(begin(key), key_state::wrong_key) << key;
    EXPECT_EQ(table_.size(), 0U);
    EXPECT_EQ(begin(std::string(idempotency_key_limit, 'k')), key_state::first);
}

TEST_F(Idempotency, ATokenHasSoManyKeys) {
    for (std::size_t i = 0; i < idempotency_entries_per_token_limit; ++i) {
        ASSERT_EQ(begin(std::to_string(i)), key_state::first);
        table_.finish(1, std::to_string(i), answer_of("x"), true, i < 10 ? 0 : 1000);
    }
    EXPECT_EQ(begin("one more"), key_state::full);
    EXPECT_EQ(begin("0"), key_state::answered) << "nothing is forgotten for it";
    EXPECT_EQ(begin("one more", 0, 2), key_state::first) << "others have their own";
    EXPECT_EQ(begin("one more", idempotency_time_ms), key_state::first) << "time makes room";
}

TEST_F(Idempotency, AllTokensTogetherHaveSoManyKeys) {
    std::int64_t id = 0;
    while (use_up(++id) > 0)
        ASSERT_LT(id, 100);
    EXPECT_EQ(begin("one more", 0, 1000), key_state::full);
    EXPECT_EQ(table_.size(), idempotency_entries_limit);
    table_.forget(1);
    EXPECT_EQ(begin("one more", 0, 1000), key_state::first);
}

TEST_F(Idempotency, HoweverManyTokensAreGreedyTheNextOneGetsSome) {
    for (std::int64_t id = 1; id <= 12; ++id)
        EXPECT_GT(use_up(id), 0U) << id;
    EXPECT_EQ(begin("one more", 0, 1000), key_state::first);
}

TEST_F(Idempotency, ATokenHasSoManyBytes) {
    const std::string large(1048576, 'x');
    for (int i = 0; i < 4; ++i) {
        ASSERT_EQ(begin(std::to_string(i)), key_state::first);
        table_.finish(1, std::to_string(i), answer_of(large), true, 0);
    }
    EXPECT_EQ(table_.bytes(), idempotency_bytes_per_token_limit);
    EXPECT_EQ(begin("one more"), key_state::full);
    EXPECT_EQ(begin("one more", idempotency_time_ms), key_state::first);
    EXPECT_EQ(table_.bytes(), 0U);
}

TEST_F(Idempotency, AllTokensTogetherHaveSoManyBytes) {
    const std::string large(4194304, 'x');
    for (int id = 1; id <= 4; ++id) {
        ASSERT_EQ(begin("k", 0, id), key_state::first);
        table_.finish(id, "k", answer_of(large), true, 0);
    }
    EXPECT_EQ(begin("k", 0, 5), key_state::full);
    EXPECT_EQ(begin("k", idempotency_time_ms, 5), key_state::first);
}

TEST_F(Idempotency, ARemovedTokenIsForgotten) {
    ASSERT_EQ(begin("done"), key_state::first);
    table_.finish(1, "done", answer_of("x"), true, 0);
    ASSERT_EQ(begin("running"), key_state::first);
    ASSERT_EQ(begin("running"), key_state::running);
    table_.forget(1);
    EXPECT_EQ(table_.size(), 0U);
    EXPECT_EQ(table_.bytes(), 0U);
    table_.finish(1, "running", answer_of("x"), true, 0);
    EXPECT_TRUE(later_.empty());
    EXPECT_EQ(table_.size(), 0U);
    table_.forget(1);
    EXPECT_EQ(begin("other", idempotency_time_ms, 2), key_state::first) << "its time is over without it";
}

TEST(RequestHash, TellsMethodPathAndBodyApart) {
    const std::string hash = request_hash("POST", "/a", "body");
    EXPECT_EQ(hash.size(), 32U);
    EXPECT_EQ(hash, request_hash("POST", "/a", "body"));
    EXPECT_NE(hash, request_hash("PUT", "/a", "body"));
    EXPECT_NE(hash, request_hash("POST", "/ab", "ody"));
    EXPECT_NE(hash, request_hash("POST", "/a", "body "));
}
