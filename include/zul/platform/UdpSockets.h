#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>

namespace zul::platform {

/// A UDP endpoint on a port of the system's choice; closed when destroyed. A delivery under way then is not waited
/// for. Any thread may call it.
class UdpSocket {
 public:
  virtual ~UdpSocket() = default;

  /// Sends without waiting, and from then on receives. `address` is numeric text, IPv4 or IPv6. A datagram that cannot
  /// be sent is lost, as any may be.
  virtual void send(const std::string& address, std::uint16_t port, std::span<const std::byte> datagram) = 0;
};

/// Opens UDP endpoints. Any thread may call it.
class UdpSockets {
 public:
  /// Gets each datagram that arrives, from whomever, and the numeric text of its sender's address. Called on the
  /// platform's own thread; it must only hand the datagram on.
  using Receive = std::function<void(std::span<const std::byte> datagram, const std::string& sender)>;

  virtual ~UdpSockets() = default;
  virtual std::unique_ptr<UdpSocket> open(Receive receive) = 0;
};

}  // namespace zul::platform
