// The gateway's configuration file: whatever it says, its settings stay within their limits, and each problem
// is one line with its place.
#include "gateway/settings/addresses.h"
#include "gateway/settings/configuration_file.h"
#include "gateway/settings/limits.h"
#include "target.h"

#include <algorithm>

using namespace gateway;

namespace {

void check_problem(const std::string& problem) {
    FUZZ_CHECK(problem.starts_with("f:"));
    const auto digits = problem.find_first_not_of("0123456789", 2);
    FUZZ_CHECK(digits > 2 && problem.substr(digits, 2) == ": ");
    FUZZ_CHECK(
        std::none_of(problem.begin(), problem.end(), [](unsigned char c) { return c < ' ' || c == 0x7f; }));
}

void check_values(const settings& values) {
    FUZZ_CHECK(!values.listen.empty() && values.listen.size() <= listen_addresses_limit);
    FUZZ_CHECK(!values.hosts.empty() && values.hosts.size() <= hosts_limit);
    FUZZ_CHECK(values.proxies.size() <= proxies_limit);
    for (const listen_address& one : values.listen)
        FUZZ_CHECK(listen_address_of(address_text(one)) == one);
    for (const std::string& host : values.hosts)
        FUZZ_CHECK(host_of(host) == host);
    for (const std::string& proxy : values.proxies)
        FUZZ_CHECK(plain_address(proxy) == proxy);
    for (const std::string& path : {values.items, values.run, values.state})
        FUZZ_CHECK(path.starts_with('/'));
}

void check_videohub(const videohub_settings& server) {
    FUZZ_CHECK(!server.router.empty() && server.router.size() <= router_name_limit);
    FUZZ_CHECK(listen_address_of(address_text(server.at)) == server.at);
    FUZZ_CHECK(server.right == role::view || server.right == role::operate || server.right == role::lock);
    FUZZ_CHECK(is_loopback(server.at.address) || !server.clients.empty());
    FUZZ_CHECK(server.clients.size() <= videohub_networks_limit);
    for (const network& one : server.clients)
        FUZZ_CHECK(network_of(one.address + "/" + std::to_string(one.bits)) == one);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const configuration_text told = read_configuration_text(as_text(data, size), "f");
    std::for_each(told.problems.begin(), told.problems.end(), check_problem);
    check_values(told.values);
    FUZZ_CHECK(told.values.videohubs.size() <= videohub_servers_limit);
    if (told.problems.empty())
        std::for_each(told.values.videohubs.begin(), told.values.videohubs.end(), check_videohub);
    for (const auto& [key, line] : told.lines)
        FUZZ_CHECK(line >= 1 && line <= size + 1);
    return 0;
}
