#pragma once

#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/ssl/context.hpp>

#include "HttpServer.h"

namespace zul::collector {

/// Reads the requests of one accepted connection and sends the handler's replies, until either side ends it. Returns at
/// once: the work is done on the socket's own executor, one thing at a time. Speaks TLS when there is a context;
/// context and handler have to outlive the socket's io_context.
void serve(boost::asio::ip::tcp::socket socket, boost::asio::ssl::context* tls, const HttpHandler& handler);

}  // namespace zul::collector
