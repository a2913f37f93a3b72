// The manual page, docs/gateway.md and the program say the same of options, keys and defaults.
#include "gateway/settings/command_line.h"
#include "gateway/settings/configuration_file.h"
#include "page_text.h"

#include <gtest/gtest.h>

#include <regex>
#include <set>
#include <sstream>

using namespace gateway;

namespace {

// The page as it reads: without the marks of its language.
std::string manual() {
    std::string text = std::regex_replace(page_text("man/vrdx_gateway.8"), std::regex("\\\\f[A-Z]"), "");
    text = std::regex_replace(text, std::regex("\\\\-"), "-");
    return std::regex_replace(text, std::regex("\\\\\\(dq"), "\"");
}

std::set<std::string> found(const std::string& text, const std::string& pattern) {
    std::set<std::string> all;
    const std::regex expression(pattern);
    for (std::sregex_iterator at(text.begin(), text.end(), expression), end; at != end; ++at)
        all.insert((*at)[1]);
    return all;
}

std::string help_of(std::vector<const char*> words) {
    words.insert(words.begin(), "vrdx_gateway");
    words.push_back("--help");
    std::ostringstream out;
    read_command_line(static_cast<int>(words.size()), words.data(), out, out);
    return out.str();
}

std::string quoted(const std::string& text) {
    return '"' + text + '"';
}

// As the configuration file would say it.
std::map<std::string, std::string> defaults() {
    const settings values;
    std::string hosts;
    for (const std::string& host : values.hosts)
        hosts += (hosts.empty() ? "" : ", ") + quoted(host);
    EXPECT_EQ(values.listen.size(), 1U);
    EXPECT_TRUE(values.proxies.empty() && values.tls_certificate.empty() && values.tls_key.empty());
    return {{"listen", quoted(address_text(values.listen.front()))},
            {"hosts", "[" + hosts + "]"},
            {"items", quoted(values.items)},
            {"run", quoted(values.run)},
            {"metrics.crosspoints", values.metrics_crosspoints ? "true" : "false"},
            {"state", quoted(values.state)},
            {"insecure", values.insecure ? "true" : "false"},
            {"anonymous", quoted(std::string(role_word(values.anonymous)))},
            {"proxies", "[]"},
            {"wall.addresses", "none"},
            {"wall.role", quoted(std::string(role_word(wall().right)))},
            {"tls.certificate", "none"},
            {"tls.key", "none"},
            {"history.days", std::to_string(values.history_days)},
            {"history.bytes", std::to_string(values.history_bytes)},
            {"site", "none"},
            {"nats.servers", "none"},
            {"nats.credentials", "none"},
            {"nats.tls", values.sites.tls ? "true" : "false"},
            {"nats.history", values.sites.history ? "true" : "false"},
            {"peer.site", "none"},
            {"peer.role", quoted(std::string(role_word(peer_site().right)))},
            {"peer.history", peer_site().history ? "true" : "false"}};
}

} // namespace

TEST(Manual, KnowsTheOptionsOfTheProgram) {
    const std::string option = "(--[a-z][a-z-]+)";
    std::set<std::string> known = found(help_of({}), option);
    EXPECT_EQ(known.count("--listen"), 1U);
    known.merge(found(help_of({"token", "add"}), option));
    known.merge(found(help_of({"token", "list"}), option));
    known.merge(found(help_of({"token", "remove"}), option));
    known.merge(found(help_of({"backup"}), option));
    known.merge(found(help_of({"restore"}), option));
    EXPECT_EQ(found(manual(), option), known);
}

TEST(Manual, KnowsTheKeysOfTheConfiguration) {
    const std::vector<std::string> keys = configuration_keys();
    const std::set<std::string> known(keys.begin(), keys.end());
    const std::string page = manual();
    const auto begin = page.find(".SH CONFIGURATION");
    ASSERT_NE(begin, std::string::npos);
    const std::string section = page.substr(begin, page.find(".SH VIDEOHUB SERVERS") - begin);
    EXPECT_EQ(found(section, "\\.TP\n\\.B ([a-z.]+)\n"), known);
    const std::string table = page_text("docs/gateway.md");
    EXPECT_EQ(found(table.substr(0, table.find("## Tokens")), "\n\\| `([a-z.]+)` \\| "), known);
}

TEST(Manual, KnowsTheDefaults) {
    const std::string table = page_text("docs/gateway.md");
    const std::string page = manual();
    const auto all = defaults();
    EXPECT_EQ(all.size(), configuration_keys().size());
    for (const auto& [key, value] : all) {
        const std::string cell = value == "none" ? value : "`" + value + "`";
        std::string row = "\n| `";
        row.append(key).append("` | ").append(cell).append(" | ");
        EXPECT_NE(table.find(row), std::string::npos) << key;
        const auto entry = page.find(".TP\n.B " + key + "\n");
        ASSERT_NE(entry, std::string::npos) << key;
        const auto line = page.find("Default:", entry);
        const std::string told = page.substr(line, page.find('\n', page.find('\n', line) + 1) - line);
        EXPECT_NE(told.find(value), std::string::npos) << key << ": " << told;
    }
}

TEST(Manual, HasAnExampleThatIsRight) {
    const std::string page = page_text("docs/gateway.md");
    const auto begin = page.find("```toml\n") + 8;
    const configuration_text example =
        read_configuration_text(page.substr(begin, page.find("```", begin) - begin), "f");
    EXPECT_EQ(example.problems, std::vector<std::string>());
    EXPECT_EQ(example.lines.size(), 5U);
}
