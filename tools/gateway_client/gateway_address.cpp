#include "gateway_address.h"

#include <algorithm>
#include <string_view>

namespace {

constexpr const char* forms = "a gateway is given as http://HOST:PORT or https://HOST:PORT";

bool is_plain(std::string_view text) {
    return std::all_of(text.begin(), text.end(), [](char letter) {
        return letter > ' ' && letter < '\x7f' && letter != '"' && letter != '\\' && letter != '@';
    });
}

bool is_port(std::string_view text) {
    return !text.empty() && text.size() <= 5 &&
           std::all_of(text.begin(), text.end(),
                       [](char letter) { return letter >= '0' && letter <= '9'; }) &&
           std::stoi(std::string(text)) <= 65535 && text != "0";
}

const char* usual_port(bool tls) {
    return tls ? "443" : "80";
}

// "HOST[:PORT]", IPv6 in brackets.
bool read_authority(std::string_view text, gateway_address* address) {
    std::size_t end = 0; // of the host
    if (text.starts_with('[')) {
        end = text.find(']');
        if (end == std::string_view::npos)
            return false;
        address->host = text.substr(1, end - 1);
        ++end;
    } else {
        end = std::min(text.find(':'), text.size());
        address->host = text.substr(0, end);
    }
    const std::string_view rest = text.substr(end);
    if (address->host.empty() || (!rest.empty() && (rest.front() != ':' || !is_port(rest.substr(1)))))
        return false;
    address->port = rest.empty() ? usual_port(address->tls) : std::string(rest.substr(1));
    return true;
}

} // namespace

bool read_gateway_url(const std::string& url, gateway_address* address, std::string* problem) {
    std::string_view rest = url;
    for (const auto& [scheme, tls] : {std::pair{std::string_view("http://"), false}, {"https://", true}}) {
        if (!url.starts_with(scheme))
            continue;
        address->tls = tls;
        rest.remove_prefix(scheme.size());
        const std::size_t slash = std::min(rest.find('/'), rest.size());
        address->path = rest.substr(slash);
        while (address->path.ends_with('/'))
            address->path.pop_back();
        const bool is_path =
            is_plain(address->path) && address->path.find_first_of("?#") == std::string::npos;
        if (is_path && is_plain(rest.substr(0, slash)) && read_authority(rest.substr(0, slash), address))
            return true;
    }
    *problem = forms;
    return false;
}

std::string host_header(const gateway_address& address) {
    const std::string host =
        address.host.find(':') == std::string::npos ? address.host : '[' + address.host + ']';
    return address.port == usual_port(address.tls) ? host : host + ':' + address.port;
}
