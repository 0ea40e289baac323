#pragma once

#include <string>

#include "Loopback.h"

namespace zul::test {

/// A local port of its own. Nobody accepts a connection there: with `listening` it is made all the same and waits
/// for ever, without it is refused.
class DeadPort {
 public:
  explicit DeadPort(bool listening) {
    if (listening) port_.listen();
  }
  /// "127.0.0.1:port"
  std::string host() const { return port_.host(); }

 private:
  LoopbackPort port_;
};

}  // namespace zul::test
