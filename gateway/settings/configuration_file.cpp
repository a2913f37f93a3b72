#include "configuration_file.h"

#include "addresses.h"
#include "limits.h"
#include "toml_values.h"
#include "videohub_tables.h"

#include <algorithm>
#include <array>

namespace gateway {
namespace {

// What is wrong with a value: nothing when it was taken over.
using reader = std::string (*)(const toml::node& value, settings* values);

struct known_key {
    const char* name; // "tls.key": the key of a table
    reader read;
    const char* possible;
};

std::string read_path(const toml::node& node, std::string* path) {
    const auto* const text = node.as_string();
    if (text == nullptr)
        return wrong_type(node);
    if (!text->get().starts_with('/') || text->get().find('\0') != std::string::npos)
        return "cannot be " + quoted(text->get());
    *path = text->get();
    return {};
}

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

std::string read_insecure(const toml::node& node, settings* values) {
    const auto* const value = node.as_boolean();
    if (value == nullptr)
        return wrong_type(node);
    values->insecure = value->get();
    return {};
}

std::string read_anonymous(const toml::node& node, settings* values) {
    const auto* const word = node.as_string();
    if (word == nullptr)
        return wrong_type(node);
    const std::optional<role> right = role_of_word(word->get());
    if (!right)
        return "cannot be " + quoted(word->get());
    values->anonymous = *right;
    return {};
}

std::string read_proxies(const toml::node& node, settings* values) {
    return read_values<std::string>(node, proxies_limit, plain_address, &values->proxies);
}

constexpr std::array<known_key, 10> known_keys = {{
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
    {"anonymous", read_anonymous, "\"none\", \"view\", \"operate\", \"lock\", \"admin\""},
    {"proxies", read_proxies, "an address such as \"192.0.2.1\", or an array of up to 64"},
}};
static_assert(listen_addresses_limit == 16 && hosts_limit == 64 && proxies_limit == 64);

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
    if (table.empty())
        add("[tls], [[videohub]]");
    return list;
}

class file_reading {
public:
    file_reading(const std::string& file, configuration_text* told) : file_(file), told_(told) {}

    void read_table(const toml::table& table, const std::string& name) {
        for (const auto& [key, value] : table) {
            const std::string full = (name.empty() ? "" : name + ".") + std::string(key.str());
            if (full == "tls" && value.is_table())
                read_table(*value.as_table(), "tls");
            else if (full == "videohub")
                read_videohub_tables(
                    value, &told_->values.videohubs,
                    [this](std::size_t line, const std::string& problem) { tell(line, problem); });
            else if (full == "tls")
                tell(value,
                     "tls " + wrong_type(value) + "; possible: a table [tls] with certificate and key");
            else
                read_value(full, name, value, key.source().begin.line);
        }
    }

    void tell(std::size_t line, const std::string& problem) {
        told_->problems.push_back(file_ + ":" + std::to_string(line) + ": " + problem);
    }

private:
    void tell(const toml::node& where, const std::string& problem) {
        tell(where.source().begin.line, problem);
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
