#pragma once

#include <chrono>
#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "DevCollector.h"
#include "Loopback.h"

namespace zul::collector {

constexpr std::chrono::seconds patience{20};

/// A request as text, so that a test can get anything in it wrong.
struct WireRequest {
  std::string method = "GET";
  std::string target = "/";
  std::multimap<std::string, std::string> headers;
  std::string body;

  std::string text() const;
};

struct WireReply {
  int status = 0;
  std::string head;
  std::string body;
};

/// One connection to 127.0.0.1, a plain socket.
class CollectorClient {
 public:
  explicit CollectorClient(int port);

  bool connected() const { return static_cast<bool>(socket_); }
  bool send(const std::string& bytes) { return test::sendAll(socket_, bytes); }
  void endSending();
  /// None when the connection ends before there is a whole answer.
  std::optional<WireReply> receive();
  std::optional<WireReply> ask(const WireRequest& request);
  /// All that comes up to `text` and with it; none when the connection ends before.
  std::optional<std::string> receiveUpTo(std::string_view text);

 private:
  bool receiveMore();

  test::Descriptor socket_;
  std::string pending_;
};

/// One request on a connection of its own.
std::optional<WireReply> ask(int port, const WireRequest& request);

/// A request that has nothing wrong with it.
WireRequest goodRequest(Endpoint endpoint);

std::string zlibOf(std::string_view text);

/// The body of an upload of `document`.
std::string uploadBodyOf(std::string_view document);

}  // namespace zul::collector
