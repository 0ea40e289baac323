#pragma once

#include <atomic>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/ssl/context.hpp>
#include <boost/asio/strand.hpp>
#include <cstddef>
#include <optional>

#include "HttpServer.h"

namespace zul::collector {

/// A connection's own, so that its handlers never run side by side. Spelled out, because the executor that can be any
/// costs an allocation here and there with each operation.
using Strand = boost::asio::strand<boost::asio::io_context::executor_type>;
using Socket = boost::asio::basic_stream_socket<boost::asio::ip::tcp, Strand>;

/// What the connections of a server share.
struct Service {
  HttpHandler handler;
  std::optional<boost::asio::ssl::context> tls{};  ///< none: plain HTTP
  std::atomic<std::size_t> unread = 0;             ///< bytes of the bodies that are still coming in
};

/// Reads the requests of one accepted connection and sends the handler's replies, until either side ends it. Returns at
/// once: the work is done on the socket's own executor, one thing at a time. `service` has to outlive the socket's
/// io_context.
void serve(Socket socket, Service& service);

}  // namespace zul::collector
