// A body that belongs to many answers at once; it is written from where it is.
#pragma once

#include <boost/asio/buffer.hpp>
#include <boost/beast/http/message.hpp>
#include <boost/optional.hpp>

#include <memory>
#include <string>
#include <utility>

namespace gateway {

struct shared_body {
    using value_type = std::shared_ptr<const std::string>; // null: empty

    static std::uint64_t size(const value_type& body) {
        return body ? body->size() : 0;
    }

    class writer {
    public:
        using const_buffers_type = boost::asio::const_buffer;

        template<bool is_request, typename fields>
        writer(const boost::beast::http::header<is_request, fields>&, const value_type& body) : body_(body) {}

        void init(boost::system::error_code& error) {
            error = {};
        }
        boost::optional<std::pair<const_buffers_type, bool>> get(boost::system::error_code& error) {
            error = {};
            return {{body_ ? boost::asio::buffer(*body_) : const_buffers_type{}, false}};
        }

    private:
        const value_type& body_;
    };
};

} // namespace gateway
