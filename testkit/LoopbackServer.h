#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "Loopback.h"

namespace zul::test {

/// A request as it came over the wire.
struct WireRequest {
  std::string line;  // "GET /path HTTP/1.1"
  std::vector<std::string> names;
  std::vector<std::string> values;
  std::string body;

  std::string header(const std::string& name) const;
};

/// A bare HTTP/1.1 server on the loopback interface that answers with raw bytes and remembers what it was sent.
class LoopbackServer {
 public:
  /// Gives the raw answer; may block. After an empty one, and one that says so, the connection is closed.
  using Handler = std::function<std::string(const WireRequest&)>;

  explicit LoopbackServer(Handler handler);
  ~LoopbackServer();
  LoopbackServer(const LoopbackServer&) = delete;
  LoopbackServer& operator=(const LoopbackServer&) = delete;

  std::string url(const std::string& path) const { return "http://" + port_.host() + path; }
  std::vector<WireRequest> requests() const;
  std::size_t connections() const;

  static std::string answer(const std::string& body, const std::string& headers = {}, int status = 200);

 private:
  /// One end of a connection, and what has come there and was not read yet.
  struct Connection {
    void fill();
    std::string bytes(std::size_t count);
    std::string line();

    Descriptor socket;
    std::string buffer{};
    std::thread thread{};
  };

  void accept();
  bool serve(Connection& connection);

  const Handler handler_;
  LoopbackPort port_;
  mutable std::mutex mutex_;
  std::vector<WireRequest> requests_;
  std::vector<std::unique_ptr<Connection>> connections_;
  std::thread acceptor_;
};

}  // namespace zul::test
