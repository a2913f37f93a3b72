// Who asks, by headers that anybody writes: the host, the addresses that proxies add, the session's cookie.
// The input's lines are the values of Host, of two X-Forwarded-For, and of Cookie.
#include "gateway/api/caller.h"
#include "gateway/http/http_text.h"
#include "gateway/settings/addresses.h"
#include "target.h"

#include <algorithm>
#include <string>

using namespace gateway;

namespace {

const std::string proxy = "192.0.2.250", other_proxy = "2001:db8::250";

settings settings_here() {
    settings now;
    now.hosts = {"localhost", "127.0.0.1", "[::1]", "router.example"};
    now.proxies = {proxy, other_proxy};
    return now;
}

// The next line of *rest.
std::string line_of(std::string_view* rest) {
    const std::size_t end = std::min(rest->find('\n'), rest->size());
    const std::string line(rest->substr(0, end));
    rest->remove_prefix(std::min(end + 1, rest->size()));
    return line;
}

// One of the names, alone or with up to five digits behind a colon.
bool is_known_host(const settings& now, const std::string& host) {
    return std::any_of(now.hosts.begin(), now.hosts.end(), [&](const std::string& name) {
        if (host.rfind(name, 0) != 0)
            return false;
        const std::string rest = host.substr(name.size());
        return rest.empty() || (rest.size() >= 2 && rest.size() <= 6 && rest[0] == ':' &&
                                rest.find_first_not_of("0123456789", 1) == std::string::npos);
    });
}

bool is_proxy(const settings& now, const std::string& address) {
    return std::find(now.proxies.begin(), now.proxies.end(), address) != now.proxies.end();
}

void check_address(const settings& now, request asked) {
    asked.peer = "198.51.100.7";
    FUZZ_CHECK(caller_address(now, asked) == asked.peer); // what others write is not believed
    asked.peer = proxy;
    const std::string address = caller_address(now, asked);
    FUZZ_CHECK(plain_address(address) == address);
    // Behind what a caller made up a proxy writes whom it has seen.
    for (const char* seen : {"203.0.113.9", "203.0.113.9:4711", "::ffff:203.0.113.9", " 203.0.113.9\t"}) {
        request next = asked;
        next.headers.emplace_back("x-forwarded-for", seen);
        FUZZ_CHECK(caller_address(now, next) == "203.0.113.9");
        next.headers.emplace_back("x-forwarded-for", "[" + other_proxy + "]:443");
        FUZZ_CHECK(caller_address(now, next) == "203.0.113.9");
    }
    // No address, and nobody can say who asked that proxy.
    asked.headers.emplace_back("x-forwarded-for", "unknown");
    FUZZ_CHECK(caller_address(now, asked) == proxy && is_proxy(now, proxy));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const settings now = settings_here();
    std::string_view rest = as_text(data, size);
    request asked;
    const std::string host = line_of(&rest);
    asked.headers.emplace_back("host", host);
    asked.headers.emplace_back("x-forwarded-for", line_of(&rest));
    asked.headers.emplace_back("x-forwarded-for", line_of(&rest));
    const std::string cookies = line_of(&rest);
    asked.headers.emplace_back("cookie", cookies);

    FUZZ_CHECK(host_problem(now, asked).empty() == is_known_host(now, small_letters(host)));
    FUZZ_CHECK(own_origin(now, asked) == "http://" + small_letters(host));
    check_address(now, asked);

    const std::string_view session = session_text(asked);
    FUZZ_CHECK(session.find(';') == std::string_view::npos);
    FUZZ_CHECK(session.empty() || cookies.find("vrdx_session=" + std::string(session)) != std::string::npos);
    asked.headers.emplace_back("cookie", "a=b; vrdx_session=last");
    const std::string_view with_another = session_text(asked);
    FUZZ_CHECK(with_another == session || (session.empty() && with_another == "last"));
    return 0;
}
