#pragma once

#include <string>

#include "Descriptor.h"

namespace zul::test {

/// A port of 127.0.0.1 that nobody else has. Throws std::system_error when there is none.
struct LoopbackPort {
  LoopbackPort();

  /// From now on connections to it are made, whether or not somebody accepts them.
  void listen() const;
  /// "127.0.0.1:port"
  std::string host() const { return "127.0.0.1:" + std::to_string(port); }

  Descriptor socket;
  int port = 0;
};

/// A connection to that port of 127.0.0.1; none when it is refused.
Descriptor connectToLoopback(int port);

/// False when the other end does not take all of it.
bool sendAll(const Descriptor& socket, const std::string& bytes);

}  // namespace zul::test
