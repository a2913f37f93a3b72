#include "gateway/access/token.h"
#include "gateway/settings/limits.h"

#include <gtest/gtest.h>

using gateway::role;
using gateway::token;
using gateway::token_problem;

namespace {

token named(const std::string& name) {
    token wish;
    wish.name = name;
    wish.right = role::view;
    return wish;
}

} // namespace

TEST(Token, HasAPrintableName) {
    for (const std::string& name : {std::string("a"), std::string("Gallery 1 (left)"), std::string("~"),
                                    std::string(gateway::token_name_limit, 'x')})
        EXPECT_EQ(token_problem(named(name)), "") << name;
    for (const std::string& name :
         {std::string(), std::string(gateway::token_name_limit + 1, 'x'), std::string(" a"),
          std::string("a "), std::string("a\nb"), std::string("a\tb"), std::string("\x7f"),
          std::string("caf\xc3\xa9"), std::string("a\0b", 3)})
        EXPECT_EQ(token_problem(named(name)),
                  "that is no name for a token; possible: 1 to 64 printable ASCII "
                  "characters, no blank at either end")
            << name;
}

TEST(Token, IsNotNamedAsThoseWithoutOne) {
    EXPECT_EQ(token_problem(named("anonymous")),
              "\"anonymous\" is who asks without a token; possible: any other name");
}

TEST(Token, NeedsARole) {
    token wish = named("a");
    wish.right = role::none;
    EXPECT_EQ(token_problem(wish), "a token needs a role; possible: view, operate, lock, admin");
}

TEST(Token, NamesRoutersByTheirItem) {
    token wish = named("a");
    wish.routers = {"studio", "Studio 2", "s.t"};
    EXPECT_EQ(token_problem(wish), "");
    for (const std::string& router :
         {std::string(), std::string("a/b"), std::string(".."), std::string("a,b"), std::string("a\nb"),
          std::string(gateway::router_name_limit + 1, 'r')}) {
        wish.routers = {"studio", router};
        EXPECT_EQ(token_problem(wish),
                  "that is no name of a router; possible: the name of an item, without path and \".item\"")
            << router;
    }
    wish.routers.assign(gateway::token_routers_limit + 1, "studio");
    EXPECT_EQ(token_problem(wish), "too many routers; possible: 256 names, or none for all routers");
}

TEST(Token, OfSomebodyAnonymousHasNoPlaceInTheStore) {
    const token anonymous = gateway::anonymous_token(role::operate);
    EXPECT_EQ(anonymous.id, 0);
    EXPECT_EQ(anonymous.name, "anonymous");
    EXPECT_EQ(anonymous.right, role::operate);
    EXPECT_TRUE(anonymous.routers.empty());
    EXPECT_TRUE(anonymous.outputs.all());
}

TEST(Role, HasAWordThatLeadsBackToIt) {
    for (const role right : {role::none, role::view, role::operate, role::lock, role::admin})
        EXPECT_EQ(gateway::role_of_word(gateway::role_word(right)), right);
    EXPECT_EQ(gateway::role_of_word("Admin"), std::nullopt);
    EXPECT_EQ(gateway::role_of_word(""), std::nullopt);
}
