// The certificate and key that connections are encrypted with.
#pragma once

#include "http_server.h"

#include <boost/asio/ssl/context.hpp>

namespace gateway {

// A context for them: TLS 1.2 and later. Null and one line in *problem when they cannot be read or do not
// belong to each other.
std::shared_ptr<boost::asio::ssl::context> tls_context_of(const tls_files& files, std::string* problem);

} // namespace gateway
