#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <string>

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
  std::string body;  ///< JSON
  std::chrono::milliseconds delay{0};
  bool drop = false;  ///< close the connection instead
};

struct ListenOptions {
  std::string host;
  int port = 0;
  std::string certFile;
  std::string keyFile;
};

/// An HTTP/1.1 server that lives as long as the object. Every request, readable or not, goes to the one
/// handler, on a thread of its connection's own; the handler must be ready for that and must not throw.
class HttpServer {
 public:
  using Handler = std::function<HttpReply(HttpRequest&&)>;

  /// Listens on return. Throws std::runtime_error when it cannot.
  HttpServer(const ListenOptions& options, Handler handler);
  /// Closes all connections, and waits for the handler's running calls but for no reply's delay.
  ~HttpServer();

  int port() const noexcept;

 private:
  class Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace zul::collector
