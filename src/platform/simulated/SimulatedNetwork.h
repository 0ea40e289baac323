#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "zul/platform/HostResolver.h"
#include "zul/platform/UdpSockets.h"

namespace zul::platform {

class SimulatedDispatcher;

/// A network of names and UDP servers in virtual time, with the ways of real ones: delay, jitter, loss, duplicates and
/// datagrams that overtake each other. Chance is the same in each run.
class SimulatedNetwork final : public HostResolver, public UdpSockets {
 public:
  using Bytes = std::vector<std::byte>;

  /// The way to a server and back.
  struct Path {
    double there = 0.02;   ///< seconds
    double back = 0.02;    ///< seconds
    double jitter = 0;     ///< seconds that either may take longer
    double loss = 0;       ///< share of the datagrams, either way
    double duplicate = 0;  ///< share of the answers that arrive twice
  };

  /// Answers a datagram at the moment when it arrives, with any number of others.
  using Server = std::function<std::vector<Bytes>(std::span<const std::byte> datagram)>;

  explicit SimulatedNetwork(std::shared_ptr<SimulatedDispatcher> dispatcher) : dispatcher_(std::move(dispatcher)) {}

  Found resolve(const std::string& host) override;
  std::unique_ptr<UdpSocket> open(Receive receive) override;

  /// The name has these addresses from now on.
  void setHost(const std::string& name, std::vector<std::string> addresses) { hosts_[name] = std::move(addresses); }
  /// Behind the address, on any port, is that server from now on.
  void setServer(const std::string& address, Path path, Server server) {
    servers_[address] = {path, std::move(server)};
  }
  /// Forgets all names and servers.
  void clear();
  /// Offline no name is found and no datagram gets anywhere.
  void setOnline(bool online) { online_ = online; }
  /// How long a look-up takes, in seconds.
  void setLookUpTime(double seconds) { lookUpTime_ = seconds; }

  /// How many datagrams were sent to it.
  std::size_t sent(const std::string& address) const;
  /// Called with each datagram that is sent, and whereto.
  std::function<void(const std::string& address, std::uint16_t port, std::span<const std::byte> datagram)> onSend;
  std::size_t lookUps() const { return lookUps_; }
  /// Sockets that are open.
  int sockets() const { return *sockets_; }

 private:
  class Socket;
  struct Place {
    Path path;
    Server server;
  };

  bool happens(double share) { return uniform() < share; }
  double uniform() { return std::uniform_real_distribution<double>(0, 1)(random_); }
  double travel(double usual, const Path& path) { return usual + path.jitter * uniform(); }
  void send(const std::string& address, Bytes datagram, const std::weak_ptr<Receive>& receive);
  void answer(const std::string& address, const Bytes& datagram, const std::weak_ptr<Receive>& receive);

  std::shared_ptr<SimulatedDispatcher> dispatcher_;
  std::map<std::string, std::vector<std::string>> hosts_;
  std::map<std::string, Place> servers_;
  std::map<std::string, std::size_t> sent_;
  std::minstd_rand random_{7};
  bool online_ = true;
  double lookUpTime_ = 0.05;
  std::size_t lookUps_ = 0;
  std::shared_ptr<int> sockets_ = std::make_shared<int>(0);
};

}  // namespace zul::platform
