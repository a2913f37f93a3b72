#include "gateway/access/token_command.h"

#include "opened_store.h"

#include <sstream>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace gateway;

namespace {

struct outcome {
    int exit_code;
    std::string out, err;
};

// The command line as somebody types it, run on that state directory.
outcome run(const std::string& state, std::vector<const char*> words) {
    words.insert(words.begin(), "vrdx_gateway");
    std::ostringstream out;
    std::ostringstream err;
    const command_line line = read_command_line(static_cast<int>(words.size()), words.data(), out, err);
    const int code =
        line.what == wanted::nothing ? line.exit_code : run_token_command(line, state, noon, out, err);
    return {code, out.str(), err.str()};
}

} // namespace

TEST(TokenCommand, AddPrintsTheTextAlone) {
    const temporary_directory state;
    const outcome added = run(state.path(), {"token", "add", "desk", "--role", "operate", "--router",
                                             "studio", "news.item", "--outputs", "8,1-4", "--inputs", "2"});
    EXPECT_EQ(added.exit_code, 0);
    EXPECT_EQ(added.err, "");
    ASSERT_EQ(added.out.size(), 49U);
    EXPECT_EQ(added.out.back(), '\n');
    const auto store = opened(state.path());
    const auto found = store->of_text(added.out.substr(0, 48));
    ASSERT_TRUE(found);
    EXPECT_EQ(found->name, "desk");
    EXPECT_EQ(found->right, role::operate);
    EXPECT_EQ(found->routers, (std::vector<std::string>{"studio", "news"}));
    EXPECT_EQ(found->outputs.text(), "1-4,8");
    EXPECT_EQ(found->inputs.text(), "2");
    EXPECT_EQ(found->created, noon);
}

TEST(TokenCommand, ListShowsAllButTheSecrets) {
    const temporary_directory state;
    const std::string text = run(state.path(), {"token", "add", "the long name", "--role", "view"}).out;
    run(state.path(), {"token", "add", "desk", "--role", "operate", "--router", "studio", "--router", "news",
                       "--outputs", "1-4"});
    const outcome listed = run(state.path(), {"token", "list"});
    EXPECT_EQ(listed.exit_code, 0);
    EXPECT_EQ(listed.out,
              "Name           Role     Created               Outputs       Inputs        Routers\n"
              "desk           operate  2023-11-14T22:13:20Z  1-4           all           studio,news\n"
              "the long name  view     2023-11-14T22:13:20Z  all           all           all\n");
    EXPECT_EQ(listed.out.find(text.substr(5, 43)), std::string::npos);
}

TEST(TokenCommand, RemoveTakesItAway) {
    const temporary_directory state;
    run(state.path(), {"token", "add", "desk", "--role", "view"});
    const outcome removed = run(state.path(), {"token", "remove", "desk"});
    EXPECT_EQ(removed.exit_code, 0);
    EXPECT_EQ(removed.out + removed.err, "");
    EXPECT_TRUE(opened(state.path())->list().empty());
    const outcome again = run(state.path(), {"token", "remove", "desk"});
    EXPECT_EQ(again.exit_code, 1);
    EXPECT_EQ(again.err,
              "vrdx_gateway: there is no token of that name; possible: those that `token list` shows\n");
}

TEST(TokenCommand, AWrongWishIsToldAndTouchesNothing) {
    const temporary_directory parent;
    const std::string state = parent.file("state");
    const auto told = [&](std::vector<const char*> words) {
        words.insert(words.begin(), {"token", "add"});
        const outcome wrong = run(state, words);
        EXPECT_EQ(wrong.exit_code, 2);
        EXPECT_EQ(wrong.out, "");
        return wrong.err;
    };
    EXPECT_EQ(told({"desk", "--role", "root"}),
              "vrdx_gateway: --role: \"root\" is no role; possible: view, operate, lock, admin\n");
    EXPECT_EQ(told({"desk", "--role", "none"}),
              "vrdx_gateway: --role: \"none\" is no role; possible: view, operate, lock, admin\n");
    EXPECT_EQ(
        told({"desk", "--role", "view", "--outputs", "1-"}),
        "vrdx_gateway: --outputs: \"1-\" is no number or range; possible: numbers from 1 to 4096 such as "
        "\"1-8,12\"\n");
    EXPECT_EQ(told({"desk", "--role", "view", "--inputs", ""}),
              "vrdx_gateway: --inputs: \"\" is no number or range; possible: numbers from 1 to 4096 such as "
              "\"1-8,12\"\n");
    EXPECT_EQ(told({"anonymous", "--role", "view"}),
              "vrdx_gateway: \"anonymous\" is who asks without a token; possible: any other name\n");
    EXPECT_EQ(told({"desk", "--role", "view", "--router", "a/b"}),
              "vrdx_gateway: that is no name of a router; possible: the name of an item, without path and "
              "\".item\"\n");
    EXPECT_FALSE(std::filesystem::exists(state));
}

TEST(TokenCommand, SaysWhatIsWrongWithTheStateDirectory) {
    const temporary_directory parent;
    const outcome failed = run(parent.file("a/b"), {"token", "list"});
    EXPECT_EQ(failed.exit_code, 1);
    EXPECT_EQ(failed.err,
              "vrdx_gateway: the state directory " + parent.file("a/b") +
                  " cannot be made: No such file or directory; possible: --state DIR with a directory "
                  "of your own\n");
}

TEST(TokenCommand, RunByRootWritesAsTheOwnerOfTheDirectory) {
    if (geteuid() != 0)
        GTEST_SKIP() << "root alone can act as somebody else";
    const temporary_directory parent;
    const std::string state = parent.file("state");
    ASSERT_EQ(chmod(parent.path().c_str(), 0755), 0);
    ASSERT_EQ(mkdir(state.c_str(), 0700), 0);
    constexpr uid_t owner = 61234;
    constexpr gid_t group = 61235;
    ASSERT_EQ(chown(state.c_str(), owner, group), 0);
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0)
        _exit(run(state, {"token", "add", "desk", "--role", "view"}).exit_code);
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 0);
    struct stat found {};
    ASSERT_EQ(stat((state + "/access.db").c_str(), &found), 0);
    EXPECT_EQ(found.st_uid, owner);
    EXPECT_EQ(found.st_gid, group);
    EXPECT_EQ(found.st_mode & 0777U, 0600U);
}
