#include "caller.h"

#include "gateway/http/http_text.h"
#include "gateway/settings/addresses.h"
#include "time_text.h"

#include <algorithm>

namespace gateway {

namespace {

bool has(const std::vector<std::string>& list, std::string_view text) {
    return std::find(list.begin(), list.end(), text) != list.end();
}

// "name:8400" without its port; "" when that is no port.
std::string_view without_port(std::string_view host) {
    const std::size_t name_end = host.starts_with('[') ? host.find(']') : 0;
    if (name_end == std::string_view::npos)
        return {};
    const std::size_t colon = host.find(':', name_end);
    if (colon == std::string_view::npos)
        return host;
    const std::string_view port = host.substr(colon + 1);
    const bool is_port =
        !port.empty() && port.size() <= 5 &&
        std::all_of(port.begin(), port.end(), [](char letter) { return letter >= '0' && letter <= '9'; });
    return is_port ? host.substr(0, colon) : std::string_view{};
}

// An address as proxies write it, perhaps with a port behind it: "192.0.2.1", "192.0.2.1:4711",
// "2001:db8::1",
// "[2001:db8::1]:4711". In its one plain way to be written; nothing for another text.
std::optional<std::string> address_in(std::string_view text) {
    if (const auto address = plain_address(text))
        return address;
    const std::string_view host = without_port(text);
    if (host.starts_with('['))
        return host.ends_with(']') ? plain_address(host.substr(1, host.size() - 2)) : std::nullopt;
    return host.find(':') == std::string_view::npos ? plain_address(host) : std::nullopt;
}

} // namespace

std::string host_problem(const settings& now, const request& asked) {
    const std::string host = small_letters(asked.header("host").value_or(""));
    if (has(now.hosts, without_port(host)))
        return "";
    std::string names;
    for (const std::string& each : now.hosts)
        names += (names.empty() ? "" : ", ") + each;
    return "The Host header names none of this gateway's names; possible are " + names +
           ". The configuration's `hosts` says which there are.";
}

std::string caller_address(const settings& now, const request& asked) {
    std::string address = asked.peer;
    std::string all; // a proxy may add a header of its own behind one that the caller made up
    for (const auto& [name, value] : asked.headers)
        if (name == "x-forwarded-for")
            all += (all.empty() ? "" : ",") + value;
    std::string_view chain = all;
    while (has(now.proxies, address) && !chain.empty()) {
        const std::size_t comma = chain.rfind(',');
        const std::string_view last = comma == std::string_view::npos ? chain : chain.substr(comma + 1);
        chain = chain.substr(0, comma == std::string_view::npos ? 0 : comma);
        const auto next = address_in(trimmed(last));
        if (!next)
            break; // whoever wrote that is the one who asks
        address = *next;
    }
    return address;
}

std::string own_origin(const settings& now, const request& asked) {
    const bool behind_tls = has(now.proxies, asked.peer) && asked.header("x-forwarded-proto") == "https";
    return (asked.over_tls || behind_tls ? "https://" : "http://") +
           small_letters(asked.header("host").value_or(""));
}

std::string_view session_text(const request& asked) {
    for (const auto& [name, value] : asked.headers) {
        std::string_view cookies = name == "cookie" ? std::string_view(value) : std::string_view{};
        while (!cookies.empty()) {
            const std::size_t end = std::min(cookies.find(';'), cookies.size());
            const std::string_view cookie = trimmed(cookies.substr(0, end));
            cookies.remove_prefix(std::min(end + 1, cookies.size()));
            const std::size_t equals = cookie.find('=');
            if (equals != std::string_view::npos && cookie.substr(0, equals) == session_cookie)
                return cookie.substr(equals + 1);
        }
    }
    return {};
}

bool find_caller(api_world& world, call* incoming) {
    // Asked once more when the body is there: nothing of the first time may stay.
    incoming->who = nullptr;
    incoming->by = credential::none;
    incoming->session = 0;
    incoming->session_is_kept = false;
    if (const auto shown = incoming->asked.header("authorization")) {
        constexpr std::string_view scheme = "bearer ";
        incoming->by = credential::bearer;
        if (small_letters(shown->substr(0, scheme.size())) != scheme)
            return false;
        incoming->who = world.access.of_text(trimmed(shown->substr(scheme.size())));
        return incoming->who != nullptr;
    }
    if (const std::string_view text = session_text(incoming->asked); !text.empty()) {
        const known_session session = world.access.of_session(text, seconds_since_1970());
        if (session.owner) {
            incoming->by = credential::cookie;
            incoming->who = session.owner;
            incoming->session = session.id;
            incoming->session_is_kept = session.kept;
            return true;
        }
    }
    const role right = role_without_token(world.now, caller_address(world.now, incoming->asked));
    if (right != role::none)
        incoming->who = std::make_shared<const token>(anonymous_token(right));
    return true;
}

} // namespace gateway
