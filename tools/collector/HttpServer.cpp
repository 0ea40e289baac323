#include "HttpServer.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <openssl/err.h>
#include <sys/socket.h>

#include <algorithm>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/ssl/context.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/strand.hpp>
#include <cerrno>
#include <cstdio>
#include <exception>
#include <optional>
#include <stdexcept>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include "HttpConnection.h"

namespace zul::collector {

namespace {

namespace asio = boost::asio;
using asio::ip::tcp;
using Error = boost::system::error_code;

/// Judging a large body takes one of them for a while; the others go on.
std::size_t threadCount() {
  return std::clamp(std::thread::hardware_concurrency(), 2u, 4u);
}

void useFile(int (*use)(SSL_CTX*, const char*), asio::ssl::context& context, std::string_view what,
             const std::string& file) {
  ERR_clear_error();
  if (use(context.native_handle(), file.c_str()) == 1) return;
  const auto error = ERR_get_error();
  ERR_clear_error();
  const char* reason = ERR_reason_error_string(error);
  throw std::runtime_error(fmt::format("cannot use the TLS {} in {}: {}", what, file,
                                       ERR_SYSTEM_ERROR(error) ? std::generic_category().message(ERR_GET_REASON(error))
                                       : reason                ? reason
                                                               : "unknown error"));
}

std::optional<asio::ssl::context> makeTls(const ListenOptions& options) {
  if (options.certFile.empty() && options.keyFile.empty()) return std::nullopt;
  if (options.keyFile.empty()) throw std::runtime_error("a TLS certificate needs its key");
  if (options.certFile.empty()) throw std::runtime_error("a TLS key needs its certificate");
  std::optional<asio::ssl::context> context(asio::ssl::context::tls_server);
  useFile(SSL_CTX_use_certificate_chain_file, *context, "certificate", options.certFile);
  useFile([](SSL_CTX* tls, const char* file) { return SSL_CTX_use_PrivateKey_file(tls, file, SSL_FILETYPE_PEM); },
          *context, "key", options.keyFile);
  return context;
}

/// Asio leaves sockets to the programs that this process starts, which would then hold the port.
void open(tcp::acceptor& acceptor, const tcp& protocol, Error& error) {
  const int fd = ::socket(protocol.family(), protocol.type() | SOCK_CLOEXEC, protocol.protocol());
  if (fd >= 0) {
    acceptor.assign(protocol, fd, error);
  } else {
    error.assign(errno, boost::system::system_category());
  }
}

tcp::acceptor listenOn(asio::io_context& context, const ListenOptions& options) {
  Error error;
  tcp::resolver resolver(context);
  const auto found = resolver.resolve(options.host, std::to_string(options.port),
                                      tcp::resolver::passive | tcp::resolver::numeric_service, error);
  for (const auto& entry : found) {
    tcp::acceptor acceptor(context);
    open(acceptor, entry.endpoint().protocol(), error);
    if (!error) acceptor.set_option(tcp::acceptor::reuse_address(true), error);
    if (!error) acceptor.bind(entry.endpoint(), error);
    if (!error) acceptor.listen(asio::socket_base::max_listen_connections, error);
    if (!error) return acceptor;
  }
  throw std::runtime_error(fmt::format("cannot listen on {}:{}: {}", options.host, options.port, error.message()));
}

}  // namespace

class HttpServer::Impl {
 public:
  Impl(const ListenOptions& options, HttpHandler handler)
      : service_{std::move(handler), makeTls(options)},
        acceptor_(listenOn(context_, options)),
        pause_(acceptor_.get_executor()),
        port_(acceptor_.local_endpoint().port()) {
    accept();
    try {
      while (threads_.size() < threadCount()) threads_.emplace_back([this] { run(); });
    } catch (...) {
      stop();
      throw;
    }
  }
  ~Impl() { stop(); }
  Impl(const Impl&) = delete;
  Impl& operator=(const Impl&) = delete;

  int port() const noexcept { return port_; }

 private:
  /// What is left of the connections goes with context_.
  void stop() noexcept {
    context_.stop();
    for (auto& thread : threads_) thread.join();
  }

  void run() noexcept {
    for (;;) {
      try {
        context_.run();
        return;
      } catch (const std::exception& error) {
        std::fputs(fmt::format("zul-collector: a connection is dropped: {}\n", error.what()).c_str(), stderr);
      }
    }
  }

  void accept() {
    acceptor_.async_accept(asio::make_strand(context_), [this](Error error, Socket socket) {
      if (error) return pause(error);
      accept();
      ::fcntl(socket.native_handle(), F_SETFD, FD_CLOEXEC);
      serve(std::move(socket), service_);
    });
  }

  /// Descriptors are short, most likely, and some will be free again.
  void pause(Error error) {
    if (!std::exchange(told_, true)) {
      std::fputs(fmt::format("zul-collector: new connections wait: {}\n", error.message()).c_str(), stderr);
    }
    pause_.expires_after(std::chrono::milliseconds(100));
    pause_.async_wait([this](Error) { accept(); });
  }

  Service service_;
  asio::io_context context_;
  tcp::acceptor acceptor_;
  asio::steady_timer pause_;
  bool told_ = false;
  const int port_;
  std::vector<std::thread> threads_;
};

HttpServer::HttpServer(const ListenOptions& options, HttpHandler handler)
    : impl_(std::make_unique<Impl>(options, std::move(handler))) {}

HttpServer::~HttpServer() = default;

int HttpServer::port() const noexcept {
  return impl_->port();
}

}  // namespace zul::collector
