#include "HttpServer.h"

#include <fmt/format.h>
#include <httplib.h>
#include <netdb.h>
#include <openssl/err.h>
#include <openssl/ssl.h>
#include <strings.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <future>
#include <set>
#include <stdexcept>
#include <system_error>
#include <thread>
#include <utility>

#include "Connection.h"
#include "Mutex.h"
#include "WorkerPool.h"

namespace zul::collector {

namespace {

constexpr std::size_t kMaxBody = std::size_t{64} << 20;

struct FreeContext {
  void operator()(SSL_CTX* context) const noexcept { SSL_CTX_free(context); }
};
using TlsContext = std::unique_ptr<SSL_CTX, FreeContext>;

TlsContext makeTls(const ListenOptions& options) {
  if (options.certFile.empty() && options.keyFile.empty()) return nullptr;
  if (options.keyFile.empty()) throw std::runtime_error("a TLS certificate needs its key");
  if (options.certFile.empty()) throw std::runtime_error("a TLS key needs its certificate");
  TlsContext context(SSL_CTX_new(TLS_server_method()));
  const auto require = [](int done, std::string_view what, const std::string& file) {
    if (done == 1) return;
    const auto error = ERR_get_error();
    ERR_clear_error();
    const char* reason = ERR_reason_error_string(error);
    throw std::runtime_error(fmt::format("cannot use the TLS {} in {}: {}", what, file,
                                         ERR_SYSTEM_ERROR(error)
                                             ? std::generic_category().message(ERR_GET_REASON(error))
                                             : std::string(reason ? reason : "unknown error")));
  };
  ERR_clear_error();
  require(SSL_CTX_use_certificate_chain_file(context.get(), options.certFile.c_str()), "certificate", options.certFile);
  require(SSL_CTX_use_PrivateKey_file(context.get(), options.keyFile.c_str(), SSL_FILETYPE_PEM), "key",
          options.keyFile);
  return context;
}

/// The listening socket, made here rather than by the HTTP library: that one lets two processes share a
/// port, keeps a queue of five connections, and does not say what went wrong.
int listenOn(const ListenOptions& options) {
  const auto where = fmt::format("cannot listen on {}:{}: ", options.host, options.port);
  addrinfo hints{};
  hints.ai_flags = AI_PASSIVE | AI_NUMERICSERV;
  hints.ai_socktype = SOCK_STREAM;
  addrinfo* found = nullptr;
  if (const int error = getaddrinfo(options.host.c_str(), std::to_string(options.port).c_str(), &hints, &found)) {
    throw std::runtime_error(where + gai_strerror(error));
  }
  const std::unique_ptr<addrinfo, decltype(&freeaddrinfo)> addresses(found, &freeaddrinfo);
  int error = 0;
  for (const auto* address = found; address; address = address->ai_next) {
    const int fd = ::socket(address->ai_family, address->ai_socktype | SOCK_CLOEXEC, address->ai_protocol);
    if (fd >= 0) {
      const int on = 1;
      setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
      if (::bind(fd, address->ai_addr, address->ai_addrlen) == 0 && ::listen(fd, SOMAXCONN) == 0) return fd;
    }
    error = errno;
    if (fd >= 0) ::close(fd);
  }
  throw std::runtime_error(where + std::generic_category().message(error));
}

int portOf(int fd) {
  sockaddr_storage address{};
  socklen_t length = sizeof address;
  char text[NI_MAXSERV] = "0";
  getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length);
  getnameinfo(reinterpret_cast<sockaddr*>(&address), length, nullptr, 0, text, sizeof text, NI_NUMERICSERV);
  return std::stoi(text);
}

/// A request on its way through the HTTP library, which hands over pieces of it at different times.
struct Exchange {
  Connection& connection;
  HttpRequest request{};
  bool handled = false;
  bool readWhole = true;
};

thread_local Exchange* current = nullptr;

}  // namespace

class HttpServer::Impl final : public httplib::Server {
 public:
  Impl(const ListenOptions& options, HttpServer::Handler handler)
      : handler_(std::move(handler)), tls_(makeTls(options)) {
    const auto withoutBody = [this](const httplib::Request& request, httplib::Response& response) {
      refuseBody(request);
      answer(response);
    };
    const auto withBody = [this](const httplib::Request& request, httplib::Response& response,
                                 const httplib::ContentReader& reader) {
      readBody(request, reader);
      answer(response);
    };
    Get("/", withoutBody);
    Options("/", withoutBody);
    Delete("/", withBody);
    Post("/", withBody);
    Put("/", withBody);
    Patch("/", withBody);
    set_error_handler(httplib::Server::Handler(
        [this](const httplib::Request&, httplib::Response& response) { unreadable(response); }));
    set_keep_alive_max_count(1'000'000);
    set_keep_alive_timeout(60);

    // The library makes its task queue right after it has marked itself as running, and stop() does
    // nothing before that.
    new_task_queue = [this] {
      running_.set_value();
      return new WorkerPool;
    };
    const int fd = listenOn(options);
    port_ = portOf(fd);
    svr_sock_ = fd;
    acceptor_ = std::thread([this] { listen_after_bind(); });
    running_.get_future().wait();
  }

  ~Impl() override {
    {
      const MutexLock lock(mutex_);
      stopping_ = true;
      for (const int fd : sockets_) ::shutdown(fd, SHUT_RDWR);
    }
    stop_.notifyAll();
    stop();
    acceptor_.join();
  }

  int port() const noexcept { return port_; }

 private:
  bool process_and_close_socket(socket_t fd) override {
    if (admit(fd)) serve(fd);
    const MutexLock lock(mutex_);
    sockets_.erase(fd);
    ::close(fd);
    return true;
  }

  bool admit(int fd) {
    const MutexLock lock(mutex_);
    if (!stopping_) sockets_.insert(fd);
    return !stopping_;
  }

  void serve(int fd) {
    Connection connection(fd, tls_.get());
    if (!connection.open()) return;
    for (bool closing = false; !closing && !stopped();) {
      Exchange exchange{connection};
      current = &exchange;
      connection.beginHead();
      const bool answered =
          process_request(connection, false, closing, [&](httplib::Request& request) { takeHead(exchange, request); });
      current = nullptr;
      closing = closing || !answered || connection.dropped() || !exchange.readWhole;
      if (closing) {
        connection.finish(!exchange.readWhole);
      } else if (!connection.flush()) {
        return;
      }
    }
  }

  /// Keeps the head, and leaves the library only what it needs to find the body's end: it would undo a
  /// content coding, split a form, serve a range and pick a handler by regular expressions.
  static void takeHead(Exchange& exchange, httplib::Request& request) {
    exchange.connection.endHead();
    exchange.request.method = request.method;
    exchange.request.target = request.target;
    httplib::Headers framing;
    for (auto& [key, value] : request.headers) {
      if (key == "REMOTE_ADDR" || key == "REMOTE_PORT" || key == "LOCAL_ADDR" || key == "LOCAL_PORT") continue;
      for (const auto* name : {"Connection", "Content-Length", "Expect", "Transfer-Encoding"}) {
        if (strcasecmp(key.c_str(), name) == 0) framing.emplace(key, value);
      }
      auto [at, added] = exchange.request.headers.try_emplace(key, value);
      if (!added) at->second += ", " + value;
    }
    request.headers = std::move(framing);
    request.ranges.clear();
    request.path = "/";
  }

  /// The request goes no further, and its connection ends with the answer.
  static void fail(int status, std::string problem) {
    current->request.status = status;
    current->request.problem = std::move(problem);
    current->request.body.clear();
    current->readWhole = false;
  }

  /// Where the library reads no body, one that is there would pass for the next request.
  static void refuseBody(const httplib::Request& request) {
    if (request.has_header("Transfer-Encoding") ||
        (request.has_header("Content-Length") && request.get_header_value("Content-Length") != "0")) {
      fail(400, fmt::format("a {} request should have no body", request.method));
    }
  }

  static void readBody(const httplib::Request& request, const httplib::ContentReader& reader) {
    auto& body = current->request.body;
    const auto tooLarge = [] { fail(413, fmt::format("the body is larger than {} bytes", kMaxBody)); };
    if (request.has_header("Content-Length")) {
      const auto text = request.get_header_value("Content-Length");
      std::size_t length = 0;
      const auto* end = text.data() + text.size();
      const auto [at, error] = std::from_chars(text.data(), end, length);
      if (error == std::errc::result_out_of_range || length > kMaxBody) return tooLarge();
      if (error != std::errc{} || at != end) return fail(400, "Content-Length is not a number");
      body.reserve(length);
    } else if (!request.has_header("Transfer-Encoding")) {
      return;  // no body; the library would read until the connection ends
    }
    const bool whole = reader([&](const char* data, size_t size) {
      if (size > kMaxBody - body.size()) {
        tooLarge();
        return false;
      }
      body.append(data, size);
      return true;
    });
    if (!whole && current->readWhole) fail(400, "the body ends early or is not framed properly");
  }

  void answer(httplib::Response& response) {
    current->handled = true;
    const auto reply = handler_(std::move(current->request));
    if (reply.drop || !pause(reply.delay)) current->connection.drop();
    response.status = reply.status;
    if (!current->readWhole) response.set_header("Connection", "close");
    response.set_content(reply.body, "application/json");
  }

  /// What the library itself refuses: it comes here, as every answer of status 400 and above does.
  void unreadable(httplib::Response& response) {
    if (current->handled) return;
    const auto& method = current->request.method;
    if (!method.empty()) {
      fail(400, "no request here has the method " + method);
    } else if (response.status == 414) {
      fail(400, "the request's target is too long");
    } else {
      fail(400, "not a well-formed HTTP request");
    }
    answer(response);
  }

  bool stopped() const {
    const MutexLock lock(mutex_);
    return stopping_;
  }

  /// False when the server stops meanwhile.
  bool pause(std::chrono::milliseconds delay) const {
    const MutexLock lock(mutex_);
    const auto deadline = std::chrono::steady_clock::now() + delay;
    while (!stopping_ && stop_.waitUntil(mutex_, deadline)) {
    }
    return !stopping_;
  }

  const HttpServer::Handler handler_;
  const TlsContext tls_;
  int port_ = 0;
  std::promise<void> running_;
  std::thread acceptor_;

  mutable Mutex mutex_;
  mutable Condition stop_;
  bool stopping_ ZUL_GUARDED_BY(mutex_) = false;
  std::set<int> sockets_ ZUL_GUARDED_BY(mutex_);  // open connections
};

HttpServer::HttpServer(const ListenOptions& options, Handler handler)
    : impl_(std::make_unique<Impl>(options, std::move(handler))) {}

HttpServer::~HttpServer() = default;

int HttpServer::port() const noexcept {
  return impl_->port();
}

}  // namespace zul::collector
