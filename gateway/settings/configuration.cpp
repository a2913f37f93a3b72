#include "configuration.h"

#include "addresses.h"
#include "configuration_file.h"
#include "limits.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

namespace gateway {
namespace {

// Empty when it can be read; else why not.
std::string read_file(const std::string& path, std::string* text) {
    const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (file < 0)
        return std::strerror(errno);
    std::string problem;
    std::string buffer(65536, '\0');
    for (ssize_t got = 1; got != 0 && problem.empty();) {
        got = read(file, buffer.data(), buffer.size());
        if (got < 0)
            problem = std::strerror(errno);
        else if (text->size() + static_cast<std::size_t>(got) > configuration_bytes_limit)
            problem = "it is larger than 1 MiB";
        else
            text->append(buffer, 0, static_cast<std::size_t>(got));
    }
    close(file);
    return problem;
}
static_assert(configuration_bytes_limit == 1048576);

// What it was that said it: "FILE:LINE: KEY", "--OPTION", or "KEY" for a default.
class sources {
public:
    sources(std::string file, std::map<std::string, unsigned> lines)
        : file_(std::move(file)), lines_(std::move(lines)) {}
    void came_by_option(const std::string& key) {
        options_[key] = true;
    }
    bool says(const std::string& key) const {
        return lines_.count(key) > 0;
    }
    std::string of(const std::string& key) const {
        if (options_.count(key) > 0)
            return "--" + key;
        const auto line = lines_.find(key);
        return line == lines_.end() ? key : file_ + ":" + std::to_string(line->second) + ": " + key;
    }

private:
    std::string file_;
    std::map<std::string, unsigned> lines_;
    std::map<std::string, bool> options_;
};

void use_command_line(const command_line& line, configuration* found, sources* from) {
    settings& values = found->values;
    const auto use_path = [&](const std::optional<std::string>& given, const char* key, std::string* path) {
        if (!given)
            return;
        from->came_by_option(key);
        if (given->empty())
            found->problems.push_back(from->of(key) + " cannot be empty; possible: the path of a directory");
        *path = *given;
    };
    use_path(line.items, "items", &values.items);
    use_path(line.run, "run", &values.run);
    use_path(line.state, "state", &values.state);
    if (!line.listen)
        return;
    from->came_by_option("listen");
    const std::optional<listen_address> address = listen_address_of(*line.listen);
    if (address)
        values.listen = {*address};
    else
        found->problems.push_back(from->of("listen") + " cannot be \"" + *line.listen +
                                  "\"; possible: ADDRESS:PORT such as 127.0.0.1:8400 or [::1]:8400");
}

void check_readable(const sources& from, const char* key, const std::string& path, const char* possible,
                    configuration* found) {
    if (!path.empty() && access(path.c_str(), R_OK) != 0)
        found->problems.push_back(from.of(key) + ": " + path + " cannot be read: " + std::strerror(errno) +
                                  "; possible: " + possible);
}

void check_tls(const sources& from, configuration* found) {
    const settings& values = found->values;
    if (values.tls_certificate.empty() != values.tls_key.empty()) {
        const bool has_key = !values.tls_key.empty();
        found->problems.push_back(from.of(has_key ? "tls.key" : "tls.certificate") +
                                  " stands alone; possible: " + (has_key ? "tls.certificate" : "tls.key") +
                                  " beside it, or neither");
    }
    constexpr const char* possible = "a PEM file that this user may read";
    check_readable(from, "tls.certificate", values.tls_certificate, possible, found);
    check_readable(from, "tls.key", values.tls_key, possible, found);
}

void check_listen(const sources& from, configuration* found) {
    const settings& values = found->values;
    const auto beyond = std::find_if(values.listen.begin(), values.listen.end(),
                                     [](const listen_address& one) { return !is_loopback(one.address); });
    if (beyond == values.listen.end() || values.has_tls() || values.insecure)
        return;
    found->problems.push_back(from.of("listen") + ": " + address_text(*beyond) +
                              " is beyond this machine and without TLS; possible: [tls] with certificate and "
                              "key, insecure = true, or a loopback address");
}

// Behind a proxy stands everybody.
void check_walls(const sources& from, configuration* found) {
    const std::vector<std::string>& proxies = found->values.proxies;
    for (const wall& each : found->values.walls)
        for (const std::string& address : each.addresses)
            if (std::find(proxies.begin(), proxies.end(), address) != proxies.end())
                found->problems.push_back(from.of("wall.addresses") + ": " + address +
                                          " is one of `proxies`, behind which others stand, too; possible: "
                                          "the address that the proxy forwards");
}

void check_sites(const sources& from, configuration* found) {
    const site_settings& sites = found->values.sites;
    const auto tell = [&](const std::string& text) { found->problems.push_back(text); };
    const bool has_table = from.says("nats");
    if (has_table && sites.servers.empty())
        tell(from.of("nats") + " has no servers; possible: servers = \"nats://127.0.0.1:4222\"");
    if (has_table && sites.site.empty())
        tell(from.of("nats") + " needs to know what this site is called; possible: site = \"NAME\" before "
                               "all tables");
    if (!has_table && !sites.peers.empty())
        tell(from.of("peer") + " stands without [nats]; possible: [nats] with servers");
    if (!sites.site.empty() && sites.peer(sites.site) != nullptr)
        tell(from.of("peer") + " names this site itself, \"" + sites.site + "\"; possible: other sites");
    for (const std::string& server : sites.servers)
        if (!is_server_safe(server, sites.tls) && !found->values.insecure)
            tell(from.of("nats.servers") + ": " + server +
                 " is beyond this machine and without TLS; possible: tls://, tls = true, insecure = true, or "
                 "a broker on this machine");
    check_readable(from, "nats.credentials", sites.credentials, "a file that this user may read", found);
    check_readable(from, "nats.tls", sites.tls_authority, "a PEM file that this user may read", found);
}

// What is listened on is a host, too. Names say more than that: a page of elsewhere may bring its own.
void complete_hosts(bool names_hosts, const sources& from, configuration* found) {
    settings& values = found->values;
    for (const listen_address& one : values.listen) {
        const std::optional<std::string> host = host_of_address(one.address);
        if (host && std::find(values.hosts.begin(), values.hosts.end(), *host) == values.hosts.end())
            values.hosts.push_back(*host);
        if (!host && !names_hosts)
            found->problems.push_back(from.of("listen") + ": " + address_text(one) +
                                      " is any address, and nothing says under which names it is reached; "
                                      "possible: hosts = [\"NAME\", ...], or a single address");
    }
}

// These commands need the state directory and nothing else.
bool is_state_command(const command_line& line) {
    return line.what == wanted::token_add || line.what == wanted::token_list ||
           line.what == wanted::token_remove || line.what == wanted::backup || line.what == wanted::restore;
}

} // namespace

configuration read_configuration(const command_line& line) {
    configuration found;
    const std::string file = line.config.value_or(default_configuration);
    std::string text;
    const bool is_told_state = is_state_command(line) && line.state && !line.config;
    const bool is_there = line.config || (!is_told_state && access(file.c_str(), F_OK) == 0);
    const std::string unread = is_there ? read_file(file, &text) : "";
    if (!unread.empty()) {
        found.problems.push_back(file + ": cannot be read: " + unread +
                                 "; possible: a TOML file that this user may read");
        return found;
    }
    configuration_text told = read_configuration_text(text, file);
    found.values = std::move(told.values);
    found.problems = std::move(told.problems);
    sources from(file, std::move(told.lines));
    use_command_line(line, &found, &from);
    // What is not even understood by itself is not compared with the rest.
    if (!found.problems.empty() || is_state_command(line))
        return found;
    check_tls(from, &found);
    check_listen(from, &found);
    check_walls(from, &found);
    check_sites(from, &found);
    complete_hosts(told.names_hosts, from, &found);
    return found;
}

int check_configuration(const configuration& found, std::ostream& err) {
    for (const std::string& problem : found.problems)
        err << "vrdx_gateway: " << problem << '\n';
    return found.problems.empty() ? exit_done : exit_wrong_use;
}

} // namespace gateway
