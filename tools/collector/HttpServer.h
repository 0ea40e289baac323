#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "RecordedRequest.h"

namespace zul::collector {

struct HttpRequest {
  std::string method;
  std::string target;  ///< path and query, as sent
  Headers headers;
  std::string body;
  std::string problem;  ///< set when the request could not be read to its end
  int status = 400;     ///< the answer's status where there is a problem
};

struct HttpReply {
  int status = 200;
  std::string body;
  std::chrono::milliseconds delay{0};
  bool drop = false;  ///< close the connection instead
  std::string type = "application/json";
  std::vector<std::pair<std::string, std::string>> headers{};  ///< further ones

  /// What the body goes on with, for as long as the connection lasts. It is asked again whenever the client has taken
  /// what it gave before, and every now and then while it gives nothing: a client that takes its time makes nobody keep
  /// anything for it. Calls come one after the other, from any of the server's threads.
  std::function<std::string()> more{};
};

using HttpHandler = std::function<HttpReply(HttpRequest&&)>;

struct ListenOptions {
  std::string host;
  int port = 0;
  std::string certFile;
  std::string keyFile;
};

/// An HTTP/1.1 server that lives as long as the object, on a few threads whatever the number of connections: one that
/// is idle, or waits for a delayed reply, costs no thread. Every request, readable or not, goes to the one handler, on
/// any of these threads and several at a time. What the handler throws ends that request's connection.
class HttpServer {
 public:
  /// Listens on return. Throws std::runtime_error when it cannot.
  HttpServer(const ListenOptions& options, HttpHandler handler);
  /// Closes all connections, and waits for the handler's running calls but for no reply's delay.
  ~HttpServer();

  int port() const noexcept;

 private:
  class Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace zul::collector
