#include "configuration_file.h"

#include "addresses.h"
#include "limits.h"
#include "site_keys.h"
#include "toml_values.h"
#include "videohub_tables.h"

#include <algorithm>
#include <array>

namespace gateway {
namespace {

// What is wrong with a value: nothing when it was stored.
using reader = std::string (*)(const toml::node& value, settings* values);

struct known_key {
    const char* name; // "tls.key": the key of a table
    reader read;
    const char* possible;
};

std::string read_listen(const toml::node& node, settings* values) {
    return read_values<listen_address>(node, listen_addresses_limit, listen_address_of, &values->listen);
}

std::string read_hosts(const toml::node& node, settings* values) {
    return read_values<std::string>(node, hosts_limit, host_of, &values->hosts);
}

std::string read_items(const toml::node& node, settings* values) {
    return read_path(node, &values->items);
}

std::string read_run(const toml::node& node, settings* values) {
    return read_path(node, &values->run);
}

std::string read_state(const toml::node& node, settings* values) {
    return read_path(node, &values->state);
}

std::string read_certificate(const toml::node& node, settings* values) {
    return read_path(node, &values->tls_certificate);
}

std::string read_key(const toml::node& node, settings* values) {
    return read_path(node, &values->tls_key);
}

std::string read_boolean(const toml::node& node, bool* boolean) {
    const auto* const value = node.as_boolean();
    if (value == nullptr)
        return wrong_type(node);
    *boolean = value->get();
    return {};
}

std::string read_insecure(const toml::node& node, settings* values) {
    return read_boolean(node, &values->insecure);
}

std::string read_role(const toml::node& node, role* right) {
    const auto* const word = node.as_string();
    if (word == nullptr)
        return wrong_type(node);
    const std::optional<role> known = role_of_word(word->get());
    if (!known)
        return "cannot be " + quoted(word->get());
    *right = *known;
    return {};
}

std::string read_anonymous(const toml::node& node, settings* values) {
    return read_role(node, &values->anonymous);
}

// Of the wall that is being read, the last one.
std::string read_wall_addresses(const toml::node& node, settings* values) {
    return read_values<std::string>(node, wall_addresses_limit, plain_address,
                                    &values->walls.back().addresses);
}

std::string read_wall_role(const toml::node& node, settings* values) {
    return read_role(node, &values->walls.back().right);
}

std::string read_proxies(const toml::node& node, settings* values) {
    return read_values<std::string>(node, proxies_limit, plain_address, &values->proxies);
}

constexpr const char* possible_site_name = "1 to 32 letters, digits, - and _";
constexpr const char* possible_roles = "\"none\", \"view\", \"operate\", \"lock\", \"admin\"";

// Nothing, or from the least that makes sense to the most.
std::string read_number(const toml::node& node, std::int64_t least, std::int64_t most, std::int64_t* number) {
    const auto* const value = node.as_integer();
    if (value == nullptr)
        return wrong_type(node);
    if (value->get() != 0 && (value->get() < least || value->get() > most))
        return "cannot be " + std::to_string(value->get());
    *number = value->get();
    return {};
}

std::string read_history_days(const toml::node& node, settings* values) {
    return read_number(node, 1, history_longest_days, &values->history_days);
}

std::string read_history_bytes(const toml::node& node, settings* values) {
    return read_number(node, history_least_bytes, history_most_bytes, &values->history_bytes);
}

std::string read_crosspoints(const toml::node& node, settings* values) {
    return read_boolean(node, &values->metrics_crosspoints);
}

constexpr std::array known_keys = std::to_array<known_key>({
    {"listen", read_listen,
     "\"ADDRESS:PORT\" such as \"127.0.0.1:8400\" or \"[::1]:8400\", or an array of up to 16"},
    {"hosts", read_hosts,
     "a name or address without a port such as \"router.example\", or an array of up to 64"},
    {"items", read_items, "a path that begins with /"},
    {"run", read_run, "a path that begins with /"},
    {"state", read_state, "a path that begins with /"},
    {"tls.certificate", read_certificate, "a path that begins with /"},
    {"tls.key", read_key, "a path that begins with /"},
    {"insecure", read_insecure, "true, false"},
    {"anonymous", read_anonymous, possible_roles},
    {"proxies", read_proxies, "an address such as \"192.0.2.1\", or an array of up to 64"},
    {"wall.addresses", read_wall_addresses, "an address such as \"192.0.2.1\", or an array of up to 64"},
    {"wall.role", read_wall_role, possible_roles},
    {"history.days", read_history_days, "1 to 3650, or 0 for no history"},
    {"history.bytes", read_history_bytes, "16777216 to 109951162777600, or 0 for no history"},
    {"metrics.crosspoints", read_crosspoints, "true, false"},
    {"site", read_site, possible_site_name},
    {"nats.servers", read_servers,
     "an address such as \"nats://127.0.0.1:4222\" or \"tls://broker.example:4222\", or an array of up to "
     "16"},
    {"nats.credentials", read_credentials, "a path that begins with /"},
    {"nats.tls", read_broker_tls, "true, false, a path that begins with /"},
    {"nats.history", read_broker_history, "true, false"},
    {"peer.site", read_peer_site, possible_site_name},
    {"peer.role", read_peer_role, "\"view\", \"operate\", \"lock\""},
    {"peer.history", read_peer_history, "true, false"},
});
static_assert(history_longest_days == 3650 && history_least_bytes == 16777216 &&
              history_most_bytes == 109951162777600);
static_assert(listen_addresses_limit == 16 && hosts_limit == 64 && proxies_limit == 64 &&
              wall_addresses_limit == 64 && walls_limit == 64);
static_assert(site_name_limit == 32 && servers_limit == 16 && peers_limit == 64);

// Tables that may stand in the file once, and what is in each.
struct known_table {
    const char* name;
    const char* keys;
};

constexpr std::array known_tables = {
    known_table{"tls", "certificate and key"},
    known_table{"history", "days and bytes"},
    known_table{"metrics", "crosspoints"},
    known_table{"nats", "servers, credentials, tls and history"},
};
constexpr const char* possible_peers = "up to 64 tables [[peer]] with site, role and history";
constexpr const char* tables_in_arrays = "[[wall]], [[videohub]], [[peer]]";

const known_table* find_table(const std::string& name) {
    const auto* const found = std::find_if(known_tables.begin(), known_tables.end(),
                                           [&name](const known_table& each) { return name == each.name; });
    return found == known_tables.end() ? nullptr : found;
}

// The keys of a table ("" for the file itself), as a list for people.
std::string keys_of(const std::string& table) {
    std::string list;
    const auto add = [&list](const std::string& name) { list += (list.empty() ? "" : ", ") + name; };
    const std::string begin = table.empty() ? "" : table + ".";
    for (const known_key& key : known_keys) {
        const std::string_view name = key.name;
        if (name.starts_with(begin) && name.find('.', begin.size()) == std::string_view::npos)
            add(std::string(name.substr(begin.size())));
    }
    if (table.empty()) {
        for (const known_table& each : known_tables)
            add(std::string("[") + each.name + "]");
        add(tables_in_arrays);
    }
    return list;
}

class file_reading {
public:
    file_reading(const std::string& file, configuration_text* told) : file_(file), told_(told) {}

    void read_table(const toml::table& table, const std::string& name) {
        for (const auto& [key, value] : table) {
            const std::string full = (name.empty() ? "" : name + ".") + std::string(key.str());
            const auto line = key.source().begin.line;
            const known_table* const known = find_table(full);
            if (known != nullptr && value.is_table()) {
                if (full == "nats") // looked at as a whole later
                    told_->lines[full] = static_cast<unsigned>(line);
                read_table(*value.as_table(), full);
            } else if (known != nullptr)
                tell(value, full + " " + wrong_type(value) + "; possible: a table [" + full + "] with " +
                                known->keys);
            else if (full == "wall")
                read_walls(value);
            else if (full == "peer")
                read_peers(value, line);
            else if (full == "videohub")
                read_videohub_tables(
                    value, &told_->values.videohubs,
                    [this](std::size_t where, const std::string& problem) { tell(where, problem); });
            else
                read_value(full, name, value, line);
        }
    }

    void tell(std::size_t line, const std::string& problem) {
        told_->problems.push_back(file_ + ":" + std::to_string(line) + ": " + problem);
    }

private:
    void tell(const toml::node& where, const std::string& problem) {
        tell(where.source().begin.line, problem);
    }

    void read_walls(const toml::node& value) {
        const toml::array* const several = value.as_array();
        if (!value.is_array_of_tables() || several->size() > walls_limit)
            return tell(value, "wall " + wrong_type(value) +
                                   "; possible: up to 64 tables [[wall]], each with addresses and role");
        for (const toml::node& each : *several) {
            told_->values.walls.emplace_back();
            const std::size_t problems = told_->problems.size();
            read_table(*each.as_table(), "wall");
            if (told_->values.walls.back().addresses.empty() && told_->problems.size() == problems)
                tell(each, "a wall has no addresses; possible: addresses = [\"192.0.2.1\", ...]");
        }
    }

    void read_peers(const toml::node& value, std::size_t line) {
        const toml::array* const tables = value.as_array();
        if (tables == nullptr || !tables->is_array_of_tables() || tables->size() > peers_limit) {
            const std::string what = tables == nullptr               ? wrong_type(value)
                                     : !tables->is_array_of_tables() ? "is an array of something else"
                                                                     : "has too many tables";
            tell(line, "peer " + what + "; possible: " + possible_peers);
            return;
        }
        told_->lines["peer"] = static_cast<unsigned>(line);
        for (const toml::node& each : *tables) {
            told_->values.sites.peers.emplace_back();
            read_table(*each.as_table(), "peer");
            if (!each.as_table()->contains("site"))
                tell(each, "[[peer]] has no site; possible: site = \"NAME\"");
        }
    }

    void read_value(const std::string& full, const std::string& table, const toml::node& value,
                    std::size_t line) {
        const auto known = std::find_if(known_keys.begin(), known_keys.end(),
                                        [&full](const known_key& key) { return full == key.name; });
        if (known == known_keys.end()) {
            tell(line, "there is no key " + quoted(full) + "; possible: " + keys_of(table));
            return;
        }
        told_->lines[full] = static_cast<unsigned>(line);
        const std::string problem = known->read(value, &told_->values);
        if (!problem.empty())
            tell(line, full + " " + problem + "; possible: " + known->possible);
    }

    const std::string& file_;
    configuration_text* told_;
};

} // namespace

std::vector<std::string> configuration_keys() {
    std::vector<std::string> keys;
    keys.reserve(known_keys.size());
    for (const known_key& key : known_keys)
        keys.emplace_back(key.name);
    return keys;
}

configuration_text read_configuration_text(std::string_view text, const std::string& file) {
    configuration_text told;
    file_reading reading(file, &told);
    try {
        reading.read_table(toml::parse(text, file), "");
    } catch (const toml::parse_error& error) {
        reading.tell(error.source().begin.line, "this is no TOML: " + on_one_line(error.description()));
    }
    told.names_hosts = told.lines.count("hosts") > 0;
    return told;
}

} // namespace gateway
