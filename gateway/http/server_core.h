// What all connections of a server share.
#pragma once

#include "connection_crowd.h"
#include "http_server.h"

#include <boost/asio/io_context.hpp>
#include <boost/asio/ssl/context.hpp>

#include <ctime>

namespace gateway {

struct server_core {
    server_core(boost::asio::io_context& the_loop, http_handlers its_handlers, const http_limits& its_limits)
        : loop(the_loop), handlers(std::move(its_handlers)), limits(its_limits), crowd(its_limits) {}

    boost::asio::io_context& loop;
    http_handlers handlers;
    http_limits limits;
    connection_crowd crowd;
    std::shared_ptr<boost::asio::ssl::context> tls; // of connections from now on; null: without
    std::size_t bodies_bytes = 0;                   // of bodies that are being read, of all connections
    bool stopping = false;

    // The time as the Date header has it; written anew each second.
    const std::string& date();

private:
    std::time_t date_second_ = 0;
    std::string date_;
};

} // namespace gateway
