#pragma once

#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace zul::test {

/// A request as it came over the wire.
struct WireRequest {
  std::string line;  // "GET /path HTTP/1.1"
  std::vector<std::pair<std::string, std::string>> headers;
  std::string body;
  int connection = 0;  // counted from 0

  std::string header(const std::string& name) const;
  std::vector<std::string> headerNames() const;
};

/// A bare HTTP/1.1 server on the loopback interface that answers with raw bytes and remembers what it was sent.
class LoopbackServer {
 public:
  /// Gives the raw answer; an empty one closes the connection, as does one that says "Connection: close". It may
  /// block.
  using Handler = std::function<std::string(const WireRequest&)>;

  explicit LoopbackServer(Handler handler);
  ~LoopbackServer();
  LoopbackServer(const LoopbackServer&) = delete;
  LoopbackServer& operator=(const LoopbackServer&) = delete;

  std::string url(const std::string& path) const;
  std::vector<WireRequest> requests() const;
  int connections() const;

  static std::string answer(const std::string& body, const std::string& extraHeaders = {}, int status = 200);

 private:
  void accept();
  void serve(int socket, int connection);

  const Handler handler_;
  int listener_ = -1;
  std::uint16_t port_ = 0;
  mutable std::mutex mutex_;
  bool closing_ = false;
  std::vector<WireRequest> requests_;
  std::vector<int> sockets_;
  std::vector<std::thread> threads_;
  std::thread acceptor_;
};

}  // namespace zul::test
