#include "SimulatedNetwork.h"

#include <utility>

#include "SimulatedDispatcher.h"

namespace zul::platform {

class SimulatedNetwork::Socket final : public UdpSocket {
 public:
  Socket(SimulatedNetwork& network, Receive receive)
      : network_(network), receive_(std::make_shared<Receive>(std::move(receive))), open_(network.sockets_) {
    ++*open_;
  }
  ~Socket() override { --*open_; }
  Socket(const Socket&) = delete;
  Socket& operator=(const Socket&) = delete;

  void send(const std::string& address, std::uint16_t port, std::span<const std::byte> datagram) override {
    if (network_.onSend) network_.onSend(address, port, datagram);
    network_.send(address, {datagram.begin(), datagram.end()}, receive_);
  }

 private:
  SimulatedNetwork& network_;
  std::shared_ptr<Receive> receive_;  // those of a socket that was closed find nobody
  std::shared_ptr<int> open_;
};

HostResolver::Found SimulatedNetwork::resolve(const std::string& host) {
  ++lookUps_;
  dispatcher_->sleep(lookUpTime_);
  const auto found = hosts_.find(host);
  if (online_ && found != hosts_.end()) return {found->second, ""};
  if (servers_.contains(host)) return {{host}, ""};  // an address is its own name
  return {{}, online_ ? "no such host" : "the network cannot be reached"};
}

std::unique_ptr<UdpSocket> SimulatedNetwork::open(Receive receive) {
  return std::make_unique<Socket>(*this, std::move(receive));
}

void SimulatedNetwork::clear() {
  hosts_.clear();
  servers_.clear();
}

void SimulatedNetwork::send(const std::string& address, Bytes datagram, const std::weak_ptr<Receive>& receive) {
  ++sent_[address];
  const auto place = servers_.find(address);
  if (!online_ || place == servers_.end() || happens(place->second.path.loss)) return;
  dispatcher_->after(travel(place->second.path.there, place->second.path), Dispatcher::Queue::global,
                     [this, address, datagram = std::move(datagram), receive] { answer(address, datagram, receive); });
}

void SimulatedNetwork::answer(const std::string& address, const Bytes& datagram,
                              const std::weak_ptr<Receive>& receive) {
  const auto place = servers_.find(address);
  if (place == servers_.end()) return;
  const auto path = place->second.path;
  for (const auto& reply : place->second.server(datagram)) {
    if (happens(path.loss)) continue;
    for (int copies = happens(path.duplicate) ? 2 : 1; copies > 0; --copies) {
      dispatcher_->after(travel(path.back, path), Dispatcher::Queue::global, [this, address, reply, receive] {
        if (const auto listener = receive.lock(); listener && online_) (*listener)(reply, address);
      });
    }
  }
}

std::size_t SimulatedNetwork::sent(const std::string& address) const {
  const auto found = sent_.find(address);
  return found == sent_.end() ? 0 : found->second;
}

}  // namespace zul::platform
