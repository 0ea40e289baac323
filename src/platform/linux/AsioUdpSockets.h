#pragma once

#include <memory>

#include "zul/platform/UdpSockets.h"

namespace zul::platform {

class AsioDispatcher;

/// UDP on the dispatcher's own thread, which waits for all sockets at once. A socket is opened with its first send. The
/// dispatcher stays for as long as this does, also where the host puts another in its place.
class AsioUdpSockets final : public UdpSockets {
 public:
  explicit AsioUdpSockets(std::shared_ptr<AsioDispatcher> dispatcher) : dispatcher_(std::move(dispatcher)) {}

  std::unique_ptr<UdpSocket> open(Receive receive) override;

 private:
  const std::shared_ptr<AsioDispatcher> dispatcher_;
};

}  // namespace zul::platform
