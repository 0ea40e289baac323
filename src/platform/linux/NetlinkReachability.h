#pragma once

#include "zul/platform/Reachability.h"

namespace zul::platform {

/// Asks the kernel by which route a packet to the world would leave. Nothing is sent, and the answer comes at once.
/// Any thread may call it.
class NetlinkReachability final : public Reachability {
 public:
  std::optional<std::uint32_t> flags(std::string_view collectorHost) override;
};

}  // namespace zul::platform
