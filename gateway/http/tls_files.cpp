#include "tls_files.h"

namespace gateway {

std::shared_ptr<boost::asio::ssl::context> tls_context_of(const tls_files& files, std::string* problem) {
    namespace ssl = boost::asio::ssl;
    boost::system::error_code error;
    auto context = std::make_shared<ssl::context>(ssl::context::tls_server);
    SSL_CTX_set_min_proto_version(context->native_handle(), TLS1_2_VERSION);
    SSL_CTX_set_options(context->native_handle(), SSL_OP_NO_RENEGOTIATION | SSL_OP_NO_COMPRESSION);
    SSL_CTX_set_mode(context->native_handle(), SSL_MODE_RELEASE_BUFFERS); // idle connections cost less
    context->use_certificate_chain_file(files.certificate, error);
    if (error) {
        *problem = "certificate " + files.certificate + ": " + error.message();
        return nullptr;
    }
    context->use_private_key_file(files.key, ssl::context::pem, error);
    if (error || SSL_CTX_check_private_key(context->native_handle()) != 1) {
        *problem = "key " + files.key + ": " + (error ? error.message() : "is not that of the certificate");
        return nullptr;
    }
    return context;
}

} // namespace gateway
