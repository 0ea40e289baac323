#pragma once

#include <optional>
#include <string>

#include "SystemBus.h"

namespace zul::platform {

/// NetworkManager's kind of the connection under the default route, and under a tunnel where that has the route: "gsm",
/// "802-11-wireless". None without the service or a connection.
std::optional<std::string> primaryConnection(BusConversation& conversation);

/// Tells which network interfaces lead over a cellular network. Any thread may call it.
class InterfaceKind {
 public:
  /// `root` stands before the system's paths.
  explicit InterfaceKind(std::shared_ptr<SystemBus> bus, std::string root = {})
      : bus_(std::move(bus)), root_(std::move(root)) {}

  /// The kernel knows the interfaces of modems. Of a tunnel, and of a point-to-point link, it does not know what lies
  /// below; there NetworkManager is asked, and where it does not say, a point-to-point link is taken for a modem's.
  bool isCellular(const std::string& interface);

 private:
  const std::shared_ptr<SystemBus> bus_;
  const std::string root_;
  Remembered<std::string> primary_{std::chrono::seconds(5)};
};

}  // namespace zul::platform
