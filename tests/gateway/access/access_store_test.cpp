#include "opened_store.h"

#include "gateway/access/database.h"
#include "gateway/settings/limits.h"

#include <algorithm>
#include <fstream>
#include <set>
#include <sys/stat.h>

using gateway::number_list;
using gateway::role;
using gateway::token;

namespace {

std::string bytes_of(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

// All that is in the state directory, one file after the other.
std::string all_bytes(const std::string& directory) {
    std::string bytes;
    for (const auto& entry : std::filesystem::directory_iterator(directory))
        bytes += bytes_of(entry.path());
    return bytes;
}

} // namespace

TEST(AccessStore, KnowsATokenByItsTextAlone) {
    const temporary_directory state;
    const auto store = opened(state.path());
    const std::string text = add(*store, wish("desk"));
    ASSERT_TRUE(store->of_text(text));
    EXPECT_EQ(store->of_text(text)->name, "desk");
    std::string other = text;
    other.back() = other.back() == 'A' ? 'B' : 'A';
    EXPECT_FALSE(store->of_text(other));
    EXPECT_FALSE(store->of_text(text + "A"));
    EXPECT_FALSE(store->of_text(text.substr(0, text.size() - 1)));
    EXPECT_FALSE(store->of_text("desk"));
    EXPECT_FALSE(store->of_text(""));
}

TEST(AccessStore, ATokensTextIs256RandomBits) {
    const temporary_directory state;
    const auto store = opened(state.path());
    std::set<std::string> texts;
    std::set<char> letters;
    for (int i = 0; i < 100; ++i) {
        const std::string text = add(*store, wish("t" + std::to_string(i)));
        ASSERT_EQ(text.size(), 48U);
        EXPECT_EQ(text.substr(0, 5), "vrdx_");
        letters.insert(text.begin() + 5, text.end());
        texts.insert(text);
    }
    EXPECT_EQ(texts.size(), 100U);
    EXPECT_EQ(std::string(letters.begin(), letters.end()),
              "-0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ_abcdefghijklmnopqrstuvwxyz");
}

TEST(AccessStore, NoSecretIsOnTheDisk) {
    const temporary_directory state;
    const auto store = opened(state.path());
    const std::string text = add(*store, wish("desk"));
    std::string problem;
    const auto session = store->begin_session(*store->of_text(text), true, noon, &problem);
    ASSERT_TRUE(session) << problem;
    const std::string bytes = all_bytes(state.path());
    EXPECT_NE(bytes.find("desk"), std::string::npos) << "this is where it is kept";
    EXPECT_EQ(bytes.find(text.substr(5)), std::string::npos);
    EXPECT_EQ(bytes.find(session->text), std::string::npos);
}

TEST(AccessStore, KeepsTokensOverARestart) {
    const temporary_directory state;
    token kept = wish("desk", role::lock);
    kept.routers = {"studio", "news"};
    std::string problem;
    kept.outputs = number_list::parse("1-8,12", &problem).value();
    kept.inputs = number_list::parse("3", &problem).value();
    const std::string text = add(*opened(state.path()), kept);
    const auto store = opened(state.path());
    ASSERT_TRUE(store->of_text(text));
    kept.id = store->of_text(text)->id;
    kept.created = noon;
    EXPECT_GT(kept.id, 0);
    EXPECT_EQ(*store->of_text(text), kept);
    EXPECT_EQ(store->list(), std::vector<token>{kept});
}

TEST(AccessStore, ListsByName) {
    const temporary_directory state;
    const auto store = opened(state.path());
    for (const char* const name : {"c", "a", "b"})
        add(*store, wish(name));
    std::string names;
    for (const token& one : store->list())
        names += one.name;
    EXPECT_EQ(names, "abc");
}

TEST(AccessStore, ANameIsGivenOnce) {
    const temporary_directory state;
    const auto store = opened(state.path());
    const std::string text = add(*store, wish("desk", role::view));
    std::string problem;
    EXPECT_EQ(store->add(wish("desk", role::admin), noon, &problem), "");
    EXPECT_EQ(problem, "there is a token \"desk\" already; possible: another name, or remove it first");
    EXPECT_EQ(store->of_text(text)->right, role::view);
}

TEST(AccessStore, AWishThatCannotBeIsNotAdded) {
    const temporary_directory state;
    const auto store = opened(state.path());
    std::string problem;
    EXPECT_EQ(store->add(wish("anonymous"), noon, &problem), "");
    EXPECT_EQ(problem, "\"anonymous\" is who asks without a token; possible: any other name");
    EXPECT_TRUE(store->list().empty());
}

TEST(AccessStore, ARemovedTokenIsNoMoreAndItsIdIsNeverGivenAgain) {
    const temporary_directory state;
    const auto store = opened(state.path());
    const std::string text = add(*store, wish("desk"));
    const std::int64_t id = store->of_text(text)->id;
    remove(*store, "desk");
    EXPECT_FALSE(store->of_text(text));
    EXPECT_EQ(store->look(noon).removed_tokens, std::vector<std::int64_t>{id});
    EXPECT_TRUE(store->look(noon).removed_tokens.empty()) << "told once";
    const std::string again = add(*store, wish("desk"));
    EXPECT_NE(again, text);
    EXPECT_NE(store->of_text(again)->id, id);
    std::string problem;
    EXPECT_FALSE(store->remove("gallery", &problem));
    EXPECT_EQ(problem, "there is no token of that name; possible: those that `token list` shows");
}

TEST(AccessStore, SeesWhatAnotherProcessWrote) {
    const temporary_directory state;
    const auto store = opened(state.path());
    const auto other = opened(state.path());
    const std::string text = add(*other, wish("desk"));
    EXPECT_FALSE(store->of_text(text)) << "until the next look";
    EXPECT_TRUE(store->look(noon).removed_tokens.empty());
    ASSERT_TRUE(store->of_text(text));
    const std::int64_t id = store->of_text(text)->id;
    remove(*other, "desk");
    EXPECT_EQ(store->look(noon).removed_tokens, std::vector<std::int64_t>{id});
    EXPECT_FALSE(store->of_text(text));
}

TEST(AccessStore, ATokenRemovedAndAddedBetweenTwoLooksIsAnother) {
    const temporary_directory state;
    const auto store = opened(state.path());
    const std::string text = add(*store, wish("desk"));
    const std::int64_t id = store->of_text(text)->id;
    const auto other = opened(state.path());
    remove(*other, "desk");
    const std::string again = add(*other, wish("desk"));
    EXPECT_EQ(store->look(noon).removed_tokens, std::vector<std::int64_t>{id});
    EXPECT_FALSE(store->of_text(text));
    EXPECT_TRUE(store->of_text(again));
}

TEST(AccessStore, WhoHoldsARemovedTokenStillHasItsName) {
    const temporary_directory state;
    const auto store = opened(state.path());
    const auto held = store->of_text(add(*store, wish("desk")));
    remove(*store, "desk");
    EXPECT_EQ(held->name, "desk");
}

TEST(AccessStore, MakesItsDirectoryAndKeepsItToItself) {
    const temporary_directory parent;
    const std::string directory = parent.file("state");
    const auto store = opened(directory);
    add(*store, wish("desk"));
    struct stat found {};
    ASSERT_EQ(stat(directory.c_str(), &found), 0);
    EXPECT_EQ(found.st_mode & 0777U, 0700U);
    for (const auto& entry : std::filesystem::directory_iterator(directory)) {
        ASSERT_EQ(stat(entry.path().c_str(), &found), 0);
        EXPECT_EQ(found.st_mode & 0777U, 0600U) << entry.path();
    }
}

TEST(AccessStore, SaysWhatIsWrongWithItsDirectory) {
    const temporary_directory parent;
    EXPECT_EQ(
        problem_of_opening(parent.file("a/b")),
        "the state directory " + parent.file("a/b") +
            " cannot be made: No such file or directory; possible: --state DIR with a directory of your "
            "own");
    std::ofstream(parent.file("file")) << "x";
    EXPECT_EQ(problem_of_opening(parent.file("file")),
              parent.file("file") + "/access.db cannot be written by this user; possible: run it as root or "
                                    "as the owner of the state directory, or name another with --state DIR");
}

TEST(AccessStore, HoldsSoManyTokens) {
    const temporary_directory state;
    const auto store = opened(state.path());
    std::string problem;
    const char* const nearly_all =
        "INSERT INTO tokens (name, hash, role, routers, outputs, inputs, created) "
        "WITH RECURSIVE n (i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 4095) "
        "SELECT 'n' || i, CAST('h' || i AS BLOB), 'view', '', '', '', 0 FROM n";
    ASSERT_TRUE(store->kept().script(nearly_all, &problem)) << problem;
    add(*store, wish("the last"));
    EXPECT_EQ(store->list().size(), gateway::tokens_limit);
    EXPECT_EQ(store->add(wish("one more"), noon, &problem), "");
    EXPECT_EQ(problem, "there are 4096 tokens already; possible: remove others first");
}
