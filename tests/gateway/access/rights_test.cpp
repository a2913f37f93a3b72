#include "gateway/access/rights.h"

#include <gtest/gtest.h>

#include <array>

using namespace gateway;

namespace {

token with(role right, const std::string& outputs = "", const std::string& inputs = "") {
    token who;
    who.id = 1;
    who.name = "desk";
    who.right = right;
    std::string problem;
    if (!outputs.empty())
        who.outputs = number_list::parse(outputs, &problem).value();
    if (!inputs.empty())
        who.inputs = number_list::parse(inputs, &problem).value();
    return who;
}

std::string take(const token& who, int output, std::vector<int> sources) {
    return take_problem(who, "studio", output, sources);
}

} // namespace

TEST(Rights, EachRoleMayWhatTheOnesBeforeMay) {
    // take, own lock, force, name, admin
    using row = std::array<bool, 5>;
    const auto may = [](role right) {
        const token who = with(right);
        return row{take(who, 1, {1}).empty(), lock_problem(who, "studio", 1).empty(),
                   force_problem(who, "studio", 1).empty(), rename_problem(who, "studio", true, 1).empty(),
                   admin_problem(who).empty()};
    };
    EXPECT_EQ(may(role::none), (row{false, false, false, false, false}));
    EXPECT_EQ(may(role::view), (row{false, false, false, false, false}));
    EXPECT_EQ(may(role::operate), (row{true, true, false, false, false}));
    EXPECT_EQ(may(role::lock), (row{true, true, true, true, false}));
    EXPECT_EQ(may(role::admin), (row{true, true, true, true, true}));
}

TEST(Rights, SayWhichRoleIsNeeded) {
    EXPECT_EQ(take(with(role::view), 1, {1}),
              "a take needs the role operate; token \"desk\" has the role view");
    EXPECT_EQ(force_problem(with(role::operate), "studio", 1),
              "to remove a lock by force needs the role lock; token \"desk\" has the role operate");
    EXPECT_EQ(admin_problem(with(role::lock)), "this needs the role admin; token \"desk\" has the role lock");
}

TEST(Rights, ATokenIsMadeByAnAdminAndMayNothingThatItsMakerMayNot) {
    token who = with(role::admin);
    EXPECT_EQ(grant_problem(who, with(role::admin)), "");
    EXPECT_EQ(grant_problem(who, with(role::view, "1-4096", "7")), "");
    EXPECT_EQ(grant_problem(with(role::lock), with(role::view)),
              "this needs the role admin; token \"desk\" has the role lock");
    who = with(role::admin, "1-8", "3,4");
    who.routers = {"studio", "news"};
    token wish = with(role::operate, "2-8", "3");
    EXPECT_EQ(grant_problem(who, wish), "token \"desk\" knows some routers alone; possible: some of these")
        << "all routers";
    wish.routers = {"studio", "archive"};
    EXPECT_EQ(grant_problem(who, wish), "token \"desk\" knows some routers alone; possible: some of these");
    wish.routers = {"news"};
    EXPECT_EQ(grant_problem(who, wish), "");
    wish.outputs = {};
    EXPECT_EQ(grant_problem(who, wish), "those outputs are beyond token \"desk\"; possible: 1-8");
    wish = with(role::operate, "2", "3-5");
    wish.routers = {"news"};
    EXPECT_EQ(grant_problem(who, wish), "those inputs are beyond token \"desk\"; possible: 3-4");
}

TEST(Rights, WhoAsksWithoutATokenMakesNone) {
    EXPECT_EQ(grant_problem(anonymous_token(role::admin), with(role::view)),
              "who asks without a token makes none; possible: a token with the role admin");
}

TEST(Rights, ATokenOfSomeRoutersSeesNoOthers) {
    token who = with(role::admin);
    EXPECT_TRUE(may_see(who, "anything"));
    who.routers = {"studio", "news"};
    EXPECT_TRUE(may_see(who, "news"));
    EXPECT_FALSE(may_see(who, "new"));
    EXPECT_FALSE(may_see(who, "News"));
    EXPECT_FALSE(may_see(who, ""));
    EXPECT_EQ(take_problem(who, "gallery", 1, {}), "token \"desk\" knows no such router");
    EXPECT_EQ(lock_problem(who, "gallery", 1), "token \"desk\" knows no such router");
    EXPECT_EQ(force_problem(who, "gallery", 1), "token \"desk\" knows no such router");
    EXPECT_EQ(rename_problem(who, "gallery", true, 1), "token \"desk\" knows no such router");
    who.right = role::none;
    EXPECT_FALSE(may_see(who, "news"));
}

TEST(Rights, ATakeStaysWithinTheTokensOutputsAndInputs) {
    const token who = with(role::operate, "1-8,12", "3,4");
    EXPECT_EQ(take(who, 12, {3, 4}), "");
    EXPECT_EQ(take(who, 9, {3}), "output 9 is beyond token \"desk\"; possible: 1-8,12");
    EXPECT_EQ(take(who, 1, {5}), "input 5 is beyond token \"desk\"; possible: 3-4");
    EXPECT_EQ(take(who, 1, {3, 2}), "input 2 is beyond token \"desk\"; possible: 3-4");
    EXPECT_EQ(take(who, 1, {0, 3}), "");
    EXPECT_EQ(take(who, 1, {}), "");
}

TEST(Rights, LocksAndNamesStayWithinTheTokensPlaces) {
    const token who = with(role::lock, "1-8", "3");
    EXPECT_EQ(lock_problem(who, "studio", 9), "output 9 is beyond token \"desk\"; possible: 1-8");
    EXPECT_EQ(force_problem(who, "studio", 9), "output 9 is beyond token \"desk\"; possible: 1-8");
    EXPECT_EQ(rename_problem(who, "studio", true, 9), "output 9 is beyond token \"desk\"; possible: 1-8");
    EXPECT_EQ(rename_problem(who, "studio", false, 3), "");
    EXPECT_EQ(rename_problem(who, "studio", false, 4), "input 4 is beyond token \"desk\"; possible: 3");
}
