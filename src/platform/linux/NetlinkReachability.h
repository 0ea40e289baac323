#pragma once

#include <memory>
#include <utility>

#include "InterfaceKind.h"
#include "zul/platform/Reachability.h"

namespace zul::platform {

/// Asks the kernel by which route a packet to the world would leave. Nothing is sent, and the answer comes at once,
/// save that where the route is a tunnel NetworkManager has a moment to say what lies below. Any thread may call it.
class NetlinkReachability final : public Reachability {
 public:
  explicit NetlinkReachability(std::shared_ptr<SystemBus> bus) : interfaces_(std::move(bus)) {}

  std::optional<std::uint32_t> flags(std::string_view collectorHost) override;

 private:
  InterfaceKind interfaces_;
};

}  // namespace zul::platform
