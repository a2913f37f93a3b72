#include "gateway/settings/configuration_file.h"
#include "gateway/settings/limits.h"
#include "gateway/settings/videohub_tables.h"
#include "page_text.h"

#include <gtest/gtest.h>

#include <regex>
#include <set>

using namespace gateway;

namespace {

configuration_text read(const std::string& text) {
    return read_configuration_text(text, "f");
}

// The one problem of a table with these lines, from line 2 on.
std::string problem(const std::string& lines) {
    const configuration_text told = read("[[videohub]]\n" + lines);
    EXPECT_EQ(told.problems.size(), 1U) << lines;
    return told.problems.empty() ? "" : told.problems.front();
}

std::set<std::string> found(const std::string& text, const std::string& pattern) {
    std::set<std::string> all;
    const std::regex expression(pattern);
    for (std::sregex_iterator at(text.begin(), text.end(), expression), end; at != end; ++at)
        all.insert((*at)[1]);
    return all;
}

std::string between(const std::string& text, const std::string& begin, const std::string& end) {
    const auto from = text.find(begin);
    EXPECT_NE(from, std::string::npos) << begin;
    return text.substr(from, text.find(end, from + begin.size()) - from);
}

} // namespace

TEST(VideohubTables, NeedOnlyARouter) {
    const configuration_text told = read("[[videohub]]\nrouter = \"studio\"\n");
    EXPECT_EQ(told.problems, std::vector<std::string>());
    ASSERT_EQ(told.values.videohubs.size(), 1U);
    const videohub_settings& server = told.values.videohubs.front();
    EXPECT_EQ(server.router, "studio");
    EXPECT_EQ(server.at, (listen_address{"127.0.0.1", 9990}));
    EXPECT_EQ(server.right, role::view);
    EXPECT_TRUE(server.outputs.all() && server.inputs.all() && server.clients.empty());
}

TEST(VideohubTables, MayBeSeveralWithAllTheirKeys) {
    const configuration_text told = read(R"(
[[videohub]]
router = "studio"
address = "::"
port = 9991
role = "operate"
outputs = "1-8,12"
inputs = "3"
clients = ["192.0.2.7", "2001:db8::/32", "192.0.2.7"]

[[videohub]]
router = "studio"
role = "lock"
)");
    EXPECT_EQ(told.problems, std::vector<std::string>());
    ASSERT_EQ(told.values.videohubs.size(), 2U);
    const videohub_settings& first = told.values.videohubs.front();
    EXPECT_EQ(first.at, (listen_address{"::", 9991}));
    EXPECT_EQ(first.right, role::operate);
    EXPECT_EQ(first.outputs.text(), "1-8,12");
    EXPECT_EQ(first.inputs.text(), "3");
    EXPECT_EQ(first.clients, (std::vector<network>{{"192.0.2.7", 32}, {"2001:db8::", 32}}));
    EXPECT_EQ(told.values.videohubs.back().right, role::lock);
}

TEST(VideohubTables, TellAWrongValueWithItsLineAndWhatIsPossible) {
    EXPECT_EQ(problem("router = \"studio\"\nport = 70000\n"),
              "f:3: videohub.port cannot be 70000; possible: a number from 0 to 65535");
    EXPECT_EQ(problem("router = \"studio\"\nrole = \"admin\"\n"),
              R"(f:3: videohub.role cannot be "admin"; possible: "view", "operate", "lock"; )"
              R"("admin" would see the gateway's own state, which this protocol cannot tell)");
    EXPECT_EQ(problem("router = \"studio\"\noutputs = \"0\"\n"),
              R"(f:3: videohub.outputs cannot be "0"; possible: numbers from 1 to 4096 such as "1-8,12")");
    EXPECT_EQ(problem("router = \"studio\"\nclients = [\"192.0.2.1/24\"]\n"),
              "f:3: videohub.clients cannot be \"192.0.2.1/24\"; possible: an address or network such as "
              "\"192.0.2.7\" or \"192.0.2.0/24\", or an array of up to 64");
    EXPECT_EQ(problem("router = \"../studio\"\n"), "f:2: videohub.router cannot be \"../studio\"; possible: "
                                                   "the name of a router, as in the directory of "
                                                   "the items");
    EXPECT_EQ(
        problem("router = \"studio\"\nname = 5\n"),
        "f:3: there is no key \"videohub.name\"; possible: router, address, port, role, outputs, inputs, "
        "clients");
    EXPECT_EQ(problem("router = 5\n").find("f:2: videohub.router cannot be a whole number"), 0U);
}

TEST(VideohubTables, NeedTheirClientsNamedBeyondThisMachine) {
    EXPECT_EQ(problem("router = \"studio\"\naddress = \"192.0.2.1\"\n")
                  .find("f:1: this [[videohub]] listens beyond"),
              0U);
    EXPECT_EQ(
        read("[[videohub]]\nrouter=\"a\"\naddress=\"0.0.0.0\"\nclients=\"10.0.0.0/8\"\n").problems.size(),
        0U);
}

TEST(VideohubTables, NameARouterEach) {
    EXPECT_EQ(problem("port = 9991\n"),
              "f:1: this [[videohub]] names no router; possible: router = \"NAME\"");
}

TEST(VideohubTables, ListenEachForItself) {
    const std::string one = "[[videohub]]\nrouter = \"studio\"\n";
    EXPECT_EQ(read(one + one).problems.size(), 1U);
    EXPECT_NE(read(one + one).problems.front().find("127.0.0.1:9990"), std::string::npos);
    EXPECT_EQ(read(one + "port = 0\n" + one + "port = 0\n").problems.size(), 0U);
}

TEST(VideohubTables, AreTablesAndNotTooMany) {
    EXPECT_EQ(read("[videohub]\nrouter = \"studio\"\n").problems.size(), 1U);
    EXPECT_EQ(read("videohub = 5\n").problems.size(), 1U);
    EXPECT_EQ(read("videohub = [5]\n").problems.size(), 1U);
    std::string many;
    for (std::size_t count = 0; count <= videohub_servers_limit; ++count)
        many += "[[videohub]]\nrouter = \"studio\"\nport = 0\n";
    EXPECT_EQ(read(many).problems.size(), 1U);
}

TEST(Network, HoldsTheAddressesThatBeginAlike) {
    const network some = network_of("192.0.2.0/24").value();
    EXPECT_TRUE(is_in_network("192.0.2.0", some));
    EXPECT_TRUE(is_in_network("192.0.2.255", some));
    EXPECT_TRUE(is_in_network("::ffff:192.0.2.9", some));
    EXPECT_FALSE(is_in_network("192.0.3.0", some));
    EXPECT_FALSE(is_in_network("2001:db8::1", some));
    EXPECT_FALSE(is_in_network("nonsense", some));
    EXPECT_TRUE(is_in_network("2001:db8:ffff::1", network_of("2001:db8::/32").value()));
    EXPECT_FALSE(is_in_network("2001:db9::1", network_of("2001:db8::/32").value()));
    EXPECT_TRUE(is_in_network("203.0.113.5", network_of("0.0.0.0/0").value()));
}

TEST(Network, IsNoneWithBitsBehindThoseThatCount) {
    for (const char* text :
         {"192.0.2.1/24", "192.0.2.0/33", "192.0.2.0/", "192.0.2.0/-1", "192.0.2.0/ 8", "/8", ""})
        EXPECT_FALSE(network_of(text)) << text;
    EXPECT_EQ(network_of("192.0.2.1"), (network{"192.0.2.1", 32}));
}

TEST(VideohubTables, AreInTheManualWithAllTheirKeys) {
    const std::vector<std::string> keys = videohub_keys();
    const std::set<std::string> known(keys.begin(), keys.end());
    const std::string page = page_text("man/vrdx_gateway.8");
    EXPECT_EQ(found(between(page, ".SH VIDEOHUB SERVERS", ".SH EXIT STATUS"), "\\.TP\n\\.B ([a-z]+)\n"),
              known);
    const std::string table = page_text("docs/videohub-server.md");
    EXPECT_EQ(found(between(table, "## Configuration", "\n## "), "\n\\| `([a-z]+)` \\| "), known);
}

TEST(VideohubTables, HaveAnExampleThatIsRight) {
    const std::string page = page_text("docs/videohub-server.md");
    const auto begin = page.find("```toml\n") + 8;
    const configuration_text example = read(page.substr(begin, page.find("```", begin) - begin));
    EXPECT_EQ(example.problems, std::vector<std::string>());
    EXPECT_EQ(example.values.videohubs.size(), 2U);
}
