#include "gateway/settings/configuration.h"

#include "gateway/settings/limits.h"
#include "temporary_directory.h"

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

using namespace gateway;

namespace {

class Configuration : public testing::Test {
protected:
    // Reads that file, with `line` before it.
    configuration read(const std::string& text, command_line line = {}) {
        std::ofstream(file_) << text;
        line.config = file_;
        return read_configuration(line);
    }
    std::string problem(const std::string& text, const command_line& line = {}) {
        const configuration found = read(text, line);
        EXPECT_EQ(found.problems.size(), 1U);
        return found.problems.empty() ? "" : found.problems.front();
    }

    temporary_directory directory_;
    const std::string file_ = directory_.file("g.toml");
};

} // namespace

TEST_F(Configuration, TheCommandLineWins) {
    command_line line;
    line.listen = "[::1]:0";
    line.items = "items";
    line.run = "/other/run";
    line.state = "/other/state";
    const configuration found = read("listen = \"127.0.0.1:1\"\nstate = \"/state\"\nrun = \"/run\"\n", line);
    EXPECT_EQ(found.problems, std::vector<std::string>());
    EXPECT_EQ(found.values.listen, (std::vector<listen_address>{{"::1", 0}}));
    EXPECT_EQ(found.values.items, "items");
    EXPECT_EQ(found.values.run, "/other/run");
    EXPECT_EQ(found.values.state, "/other/state");
}

TEST_F(Configuration, OfAFileThatIsNamedNeedsIt) {
    command_line line;
    line.config = directory_.file("none.toml");
    EXPECT_EQ(read_configuration(line).problems,
              std::vector<std::string>{directory_.file("none.toml") +
                                       ": cannot be read: No such file or directory; "
                                       "possible: a TOML file that this user may "
                                       "read"});
    line.config = directory_.path();
    EXPECT_EQ(read_configuration(line).problems,
              std::vector<std::string>{directory_.path() +
                                       ": cannot be read: Is a directory; possible: a TOML file "
                                       "that this user may read"});
}

TEST_F(Configuration, HasALargestFile) {
    EXPECT_EQ(problem("#" + std::string(configuration_bytes_limit, 'x')),
              file_ +
                  ": cannot be read: it is larger than 1 MiB; possible: a TOML file that this user may read");
    EXPECT_EQ(read("#" + std::string(configuration_bytes_limit - 1, 'x')).problems,
              std::vector<std::string>());
}

TEST_F(Configuration, TellsAWrongOption) {
    command_line line;
    line.listen = "localhost";
    EXPECT_EQ(
        problem("", line),
        "--listen cannot be \"localhost\"; possible: ADDRESS:PORT such as 127.0.0.1:8400 or [::1]:8400");
    line = {};
    line.state = "";
    EXPECT_EQ(problem("", line), "--state cannot be empty; possible: the path of a directory");
}

TEST_F(Configuration, BeyondThisMachineNeedsTlsOrCourage) {
    const std::string possible = "192.0.2.1:8400 is beyond this machine and without TLS; possible: [tls] "
                                 "with certificate and key, insecure "
                                 "= true, or a loopback address";
    EXPECT_EQ(problem("\nlisten = [\"127.0.0.1:8400\", \"192.0.2.1:8400\"]"),
              file_ + ":2: listen: " + possible);
    command_line line;
    line.listen = "192.0.2.1:8400";
    EXPECT_EQ(problem("", line), "--listen: " + possible);
    EXPECT_EQ(read("insecure = true", line).problems, std::vector<std::string>());
    std::ofstream(directory_.file("c.pem")) << "x";
    const std::string tls = "tls.certificate = \"" + directory_.file("c.pem") + "\"\ntls.key = \"" +
                            directory_.file("c.pem") + "\"\n";
    EXPECT_EQ(read(tls, line).problems, std::vector<std::string>());
    EXPECT_TRUE(read(tls, line).values.has_tls());
}

TEST_F(Configuration, AnyAddressNeedsNames) {
    EXPECT_EQ(
        problem("insecure = true\nlisten = \"0.0.0.0:8400\""),
        file_ + ":2: listen: 0.0.0.0:8400 is any address, and nothing says under which names it is reached; "
                "possible: hosts = [\"NAME\", ...], or a single address");
    const configuration found = read("insecure = true\nlisten = \"[::]:8400\"\nhosts = \"router\"");
    EXPECT_EQ(found.problems, std::vector<std::string>());
    EXPECT_EQ(found.values.hosts, std::vector<std::string>{"router"});
}

TEST_F(Configuration, WhatIsListenedOnIsAHost) {
    EXPECT_EQ(read("").values.hosts, (std::vector<std::string>{"localhost", "127.0.0.1", "[::1]"}));
    EXPECT_EQ(read("insecure = true\nlisten = [\"192.0.2.1:1\", \"[2001:db8::1]:1\"]").values.hosts,
              (std::vector<std::string>{"localhost", "127.0.0.1", "[::1]", "192.0.2.1", "[2001:db8::1]"}));
    EXPECT_EQ(read("listen = \"127.0.0.1:1\"\nhosts = \"router\"").values.hosts,
              (std::vector<std::string>{"router", "127.0.0.1"}));
}

TEST_F(Configuration, CertificateAndKeyStandTogetherAndCanBeRead) {
    std::ofstream(directory_.file("c.pem")) << "x";
    const std::string path = directory_.file("c.pem");
    EXPECT_EQ(problem("[tls]\ncertificate = \"" + path + "\""),
              file_ + ":2: tls.certificate stands alone; possible: tls.key beside it, or neither");
    EXPECT_EQ(problem("[tls]\nkey = \"" + path + "\""),
              file_ + ":2: tls.key stands alone; possible: tls.certificate beside it, or neither");
    EXPECT_EQ(
        problem("[tls]\ncertificate = \"" + path + "\"\nkey = \"/nowhere/k.pem\""),
        file_ + ":3: tls.key: /nowhere/k.pem cannot be read: No such file or directory; possible: a PEM file "
                "that this user may read");
}

TEST_F(Configuration, AProxyIsNoWall) {
    EXPECT_EQ(problem("proxies = \"192.0.2.9\"\n[[wall]]\naddresses = [\"192.0.2.8\", \"192.0.2.9\"]"),
              file_ + ":3: wall.addresses: 192.0.2.9 is one of `proxies`, behind which others stand, too; "
                      "possible: the address that the proxy forwards");
}

TEST_F(Configuration, WhoHasNoTokenHasTheRoleOfHisWallElseThatOfAnonymous) {
    settings now = read("[[wall]]\naddresses = \"192.0.2.8\"\nrole = \"operate\"\n"
                        "[[wall]]\naddresses = [\"2001:DB8::7\", \"192.0.2.8\"]\n")
                       .values;
    EXPECT_EQ(role_without_token(now, "192.0.2.8"), role::operate);
    EXPECT_EQ(role_without_token(now, "2001:db8::7"), role::view);
    EXPECT_EQ(role_without_token(now, "192.0.2.80"), role::none);
    EXPECT_EQ(role_without_token(now, ""), role::none);
    now.anonymous = role::view;
    EXPECT_EQ(role_without_token(now, "192.0.2.80"), role::view);
    now.walls.front().right = role::none;
    EXPECT_EQ(role_without_token(now, "192.0.2.8"), role::none);
}

TEST_F(Configuration, TellsTheTokenCommandItsStateWhateverElseItSays) {
    command_line line;
    line.what = wanted::token_list;
    const configuration found =
        read("state = \"/s\"\nlisten = \"192.0.2.1:1\"\ntls.key = \"/nowhere/k.pem\"", line);
    EXPECT_EQ(found.problems, std::vector<std::string>());
    EXPECT_EQ(found.values.state, "/s");
    EXPECT_EQ(read("stat = \"/s\"", line).problems.size(), 1U);
}

TEST_F(Configuration, IsTakenAnewFromAnEditedFile) {
    const settings before = read("anonymous = \"view\"\nlisten = \"127.0.0.1:1\"").values;
    const settings now =
        read(
            "anonymous = \"operate\"\nlisten = \"127.0.0.1:2\"\nstate = \"/s\"\nitems = \"/i\"\nrun = \"/r\"")
            .values;
    EXPECT_EQ(now.anonymous, role::operate);
    EXPECT_EQ(keys_for_a_restart(before, now), (std::vector<std::string>{"listen", "items", "run", "state"}));
    EXPECT_TRUE(
        keys_for_a_restart(before, read("anonymous = \"none\"\nlisten = \"127.0.0.1:1\"").values).empty());
}

TEST_F(Configuration, ChecksSayALineForEachProblem) {
    std::ostringstream err;
    EXPECT_EQ(check_configuration(read("x = 1\ny = 2"), err), 2);
    const std::string possible = "; possible: listen, hosts, items, run, state, insecure, anonymous, "
                                 "proxies, site, [tls], [history], [metrics], [nats], "
                                 "[[wall]], [[videohub]], [[peer]]\n";
    EXPECT_EQ(err.str(), "vrdx_gateway: " + file_ + ":1: there is no key \"x\"" + possible +
                             "vrdx_gateway: " + file_ + ":2: there is no key \"y\"" + possible);
    std::ostringstream good;
    EXPECT_EQ(check_configuration(read(""), good), 0);
    EXPECT_EQ(good.str(), "");
}

TEST_F(Configuration, OfSitesFitsTogether) {
    const std::string broker = "[nats]\nservers = \"nats://127.0.0.1:4222\"\n";
    EXPECT_EQ(read("site = \"a\"\n" + broker + "[[peer]]\nsite = \"b\"\n").problems,
              std::vector<std::string>());
    EXPECT_EQ(read("site = \"a\"\n").problems, std::vector<std::string>());
    EXPECT_EQ(problem(broker), file_ + ":1: nats needs to know what this site is called; possible: site = "
                                       "\"NAME\" before all tables");
    EXPECT_EQ(problem("site = \"a\"\n[nats]\n"),
              file_ + ":2: nats has no servers; possible: servers = \"nats://127.0.0.1:4222\"");
    EXPECT_EQ(problem("site = \"a\"\n[[peer]]\nsite = \"b\"\n"),
              file_ + ":2: peer stands without [nats]; possible: [nats] with servers");
    EXPECT_EQ(problem("site = \"a\"\n" + broker + "[[peer]]\nsite = \"a\"\n"),
              file_ + ":4: peer names this site itself, \"a\"; possible: other sites");
    EXPECT_EQ(problem("site = \"a\"\n" + broker + "credentials = \"/nowhere/user\"\n"),
              file_ + ":4: nats.credentials: /nowhere/user cannot be read: No such file or directory; "
                      "possible: a file that this user may read");
    EXPECT_EQ(problem("site = \"a\"\n" + broker + "tls = \"/nowhere/ca.pem\"\n"),
              file_ + ":4: nats.tls: /nowhere/ca.pem cannot be read: No such file or directory; possible: a "
                      "PEM file that this user may read");
}

TEST_F(Configuration, NeedsTlsForABrokerBeyondThisMachine) {
    const std::string begin = "site = \"a\"\n[nats]\nservers = ";
    EXPECT_EQ(problem(begin + "\"nats://192.0.2.1:4222\""),
              file_ +
                  ":3: nats.servers: nats://192.0.2.1:4222 is beyond this machine and without TLS; possible: "
                  "tls://, tls = true, insecure = true, or a broker on this machine");
    for (const std::string rest :
         {"\"tls://192.0.2.1:4222\"", "\"nats://192.0.2.1:4222\"\ntls = true", "\"nats://localhost:4222\"",
          "\"nats://[::1]:4222\"", "\"nats://127.1.2.3:4222\""})
        EXPECT_EQ(read(begin + rest).problems, std::vector<std::string>()) << rest;
    EXPECT_EQ(read("insecure = true\n" + begin + "\"nats://192.0.2.1:4222\"").problems,
              std::vector<std::string>());
}

TEST_F(Configuration, NeedsANewStartForSites) {
    settings before, now;
    EXPECT_EQ(keys_for_a_restart(before, now), std::vector<std::string>());
    now.sites.site = "a";
    now.sites.peers = {{"b", role::view}};
    now.sites.servers = {"nats://127.0.0.1:1"};
    EXPECT_EQ(keys_for_a_restart(before, now), (std::vector<std::string>{"site", "peer", "nats"}));
}
