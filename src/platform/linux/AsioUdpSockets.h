#pragma once

#include <memory>

#include "zul/platform/UdpSockets.h"

namespace zul::platform {

class AsioCore;

/// UDP on the dispatcher's own thread, which waits for all sockets at once. A socket is opened with its first send.
class AsioUdpSockets final : public UdpSockets {
 public:
  explicit AsioUdpSockets(std::shared_ptr<AsioCore> core) : core_(std::move(core)) {}

  std::unique_ptr<UdpSocket> open(Receive receive) override;

 private:
  const std::shared_ptr<AsioCore> core_;
};

}  // namespace zul::platform
