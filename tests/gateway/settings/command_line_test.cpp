#include "gateway/settings/command_line.h"

#include <gtest/gtest.h>

#include <sstream>

using namespace gateway;

namespace {

struct outcome {
    command_line line;
    std::string out, err;
};

outcome read(std::vector<const char*> words) {
    words.insert(words.begin(), "vrdx_gateway");
    std::ostringstream out;
    std::ostringstream err;
    command_line line = read_command_line(static_cast<int>(words.size()), words.data(), out, err);
    return {std::move(line), out.str(), err.str()};
}

// What a wrong command line is told; it ends with 2 and says nothing on standard output.
std::string problem(std::vector<const char*> words) {
    const outcome wrong = read(std::move(words));
    EXPECT_EQ(wrong.line.what, wanted::nothing);
    EXPECT_EQ(wrong.line.exit_code, 2);
    EXPECT_EQ(wrong.out, "");
    return wrong.err;
}

} // namespace

TEST(CommandLine, OfNothingServes) {
    const outcome read_line = read({});
    EXPECT_EQ(read_line.line.what, wanted::serve);
    EXPECT_EQ(read_line.line.config, std::nullopt);
    EXPECT_EQ(read_line.line.listen, std::nullopt);
    EXPECT_EQ(read_line.line.state, std::nullopt);
    EXPECT_EQ(read_line.line.ready_fd, -1);
    EXPECT_EQ(read_line.out + read_line.err, "");
}

TEST(CommandLine, TakesEachOfItsOptions) {
    const command_line line = read({"--config", "c.toml", "--items", "items", "--run=run", "--state", "state",
                                    "--listen", "[::1]:0", "--ready-fd", "3"})
                                  .line;
    EXPECT_EQ(line.what, wanted::serve);
    EXPECT_EQ(line.config, "c.toml");
    EXPECT_EQ(line.items, "items");
    EXPECT_EQ(line.run, "run");
    EXPECT_EQ(line.state, "state");
    EXPECT_EQ(line.listen, "[::1]:0");
    EXPECT_EQ(line.ready_fd, 3);
    EXPECT_EQ(read({"--check-config"}).line.what, wanted::check_config);
}

TEST(CommandLine, AddsATokenWithItsLimits) {
    const command_line line =
        read({"token", "add", "Gallery [1]", "--role", "operate", "--router", "studio", "news", "--router",
              "edit", "--outputs", "1-8,12", "--inputs", "3", "--state", "state"})
            .line;
    EXPECT_EQ(line.what, wanted::token_add);
    EXPECT_EQ(line.token_name, "Gallery [1]");
    EXPECT_EQ(line.token_role, "operate");
    EXPECT_EQ(line.token_routers, (std::vector<std::string>{"studio", "news", "edit"}));
    EXPECT_EQ(line.token_outputs, "1-8,12");
    EXPECT_EQ(line.token_inputs, "3");
    EXPECT_EQ(line.state, "state");
}

TEST(CommandLine, AddsATokenWithoutLimits) {
    const command_line line = read({"token", "add", "--role", "view", "[a,b]"}).line;
    EXPECT_EQ(line.what, wanted::token_add);
    EXPECT_EQ(line.token_name, "[a,b]");
    EXPECT_TRUE(line.token_routers.empty());
    EXPECT_EQ(line.token_outputs, std::nullopt);
    EXPECT_EQ(line.token_inputs, std::nullopt);
}

TEST(CommandLine, AnEmptyListIsKeptAsOne) {
    EXPECT_EQ(read({"token", "add", "a", "--role", "view", "--outputs", ""}).line.token_outputs, "");
    const command_line line = read({"token", "add", "a", "--inputs=", "--role=view", "--router=a=b"}).line;
    EXPECT_EQ(line.what, wanted::token_add);
    EXPECT_EQ(line.token_routers, std::vector<std::string>{"a=b"});
    EXPECT_EQ(read({"--listen=[::1]:1"}).line.listen, "[::1]:1");
    EXPECT_EQ(line.token_inputs, "");
}

TEST(CommandLine, ListsAndRemovesTokens) {
    EXPECT_EQ(read({"token", "list"}).line.what, wanted::token_list);
    const command_line line = read({"token", "remove", "desk"}).line;
    EXPECT_EQ(line.what, wanted::token_remove);
    EXPECT_EQ(line.token_name, "desk");
}

TEST(CommandLine, StateAndConfigStandBeforeOrBehindTheCommand) {
    for (const std::vector<const char*>& words :
         {std::vector<const char*>{"--state", "s", "--config", "c", "token", "list"},
          std::vector<const char*>{"token", "--state", "s", "--config", "c", "list"},
          std::vector<const char*>{"token", "list", "--state", "s", "--config", "c"}}) {
        const command_line line = read(words).line;
        EXPECT_EQ(line.what, wanted::token_list);
        EXPECT_EQ(line.state, "s");
        EXPECT_EQ(line.config, "c");
    }
}

TEST(CommandLine, TellsAWrongUseAndEndsWith2) {
    EXPECT_EQ(problem({"--port", "1"}),
              "vrdx_gateway: there is no option or command \"--port\"; see --help\n");
    EXPECT_EQ(problem({"serve"}), "vrdx_gateway: there is no option or command \"serve\"; see --help\n");
    EXPECT_EQ(problem({"token", "list", "[desk", "x"}),
              "vrdx_gateway: there is no option or command \"[desk\"; see --help\n");
    EXPECT_NE(problem({"--check-config=1"}), "");
    EXPECT_NE(problem({"--listen"}), "");
    EXPECT_NE(problem({"--ready-fd", "x"}), "");
    EXPECT_NE(problem({"--ready-fd", "-2"}), "");
    EXPECT_NE(problem({"--state", "a", "--state", "b"}), "");
    EXPECT_NE(problem({"token"}), "");
    EXPECT_NE(problem({"token", "rename"}), "");
    EXPECT_EQ(problem({"token", "add", "desk"}), "vrdx_gateway: --role is required; see --help\n");
    EXPECT_EQ(problem({"token", "add", "--role", "view"}), "vrdx_gateway: NAME is required; see --help\n");
    EXPECT_EQ(problem({"token", "remove"}), "vrdx_gateway: NAME is required; see --help\n");
    EXPECT_NE(problem({"token", "list", "desk"}), "");
    EXPECT_NE(problem({"token", "list", "--listen", "127.0.0.1:1"}), "");
}

TEST(CommandLine, HelpAndVersionEndWith0) {
    const outcome help = read({"--help"});
    EXPECT_EQ(help.line.what, wanted::nothing);
    EXPECT_EQ(help.line.exit_code, 0);
    for (const char* const word : {"--config", "--check-config", "--items", "--run", "--state", "--listen",
                                   "--ready-fd", "--version", "token", "Exit codes:"})
        EXPECT_NE(help.out.find(word), std::string::npos) << word;
    const outcome version = read({"--version"});
    EXPECT_EQ(version.line.exit_code, 0);
    EXPECT_EQ(version.out, "vrdx_gateway " VRDX_VERSION "\n");
    const outcome add_help = read({"token", "add", "--help"});
    EXPECT_EQ(add_help.line.exit_code, 0);
    EXPECT_NE(add_help.out.find("--outputs"), std::string::npos);
}
