#include "InterfaceKind.h"

#include <net/if_arp.h>
#include <systemd/sd-bus.h>

#include <string_view>

#include "LinuxFiles.h"

namespace zul::platform {

namespace {
constexpr std::size_t kMostText = 4096;
}

std::optional<std::string> primaryConnection(BusConversation& conversation) {
  BusProperties properties;
  const auto answer = conversation.call("org.freedesktop.NetworkManager", "/org/freedesktop/NetworkManager",
                                        "org.freedesktop.DBus.Properties", "GetAll", "org.freedesktop.NetworkManager");
  if (!answer || !readProperties(answer.get(), properties)) return std::nullopt;
  const auto kind = properties.find("PrimaryConnectionType");
  return kind == properties.end() || kind->second.empty() ? std::nullopt : std::optional(kind->second);
}

bool InterfaceKind::isCellular(const std::string& interface) {
  const std::string folder = root_ + "/sys/class/net/" + interface;
  if (interface.starts_with("wwan") || interface.starts_with("rmnet")) return true;
  const auto event = readFile(folder + "/uevent", kMostText);
  if (event && event->find("DEVTYPE=wwan\n") != std::string::npos) return true;

  const bool isPointToPoint = interface.starts_with("ppp");
  const auto type = readFile(folder + "/type", kMostText);
  if (!isPointToPoint && (!type || *type == std::to_string(ARPHRD_ETHER) + "\n")) return false;
  const auto primary = primary_.get(*bus_, primaryConnection);
  if (primary == "gsm" || primary == "cdma") return true;
  const bool isTunnel = primary == "vpn" || primary == "wireguard" || primary == "tun" || primary == "ip-tunnel";
  return primary && !isTunnel ? false : isPointToPoint;
}

}  // namespace zul::platform
