// Where a gateway is, as people write it.
#pragma once

#include <string>

struct gateway_address {
    bool tls = false;
    std::string host; // name or address, an IPv6 one without its brackets
    std::string port; // a number
    std::string path; // stands in front of each path; empty, or "/..." without a slash at its end
};

// Reads "http://HOST[:PORT][/PATH]" or "https://...". False with *problem in one line that says what is
// possible.
bool read_gateway_url(const std::string& url, gateway_address* address, std::string* problem);

// "host" or "host:port" as a Host header has it: without the scheme's own port, IPv6 in brackets.
std::string host_header(const gateway_address& address);
