#include "AsioUdpSockets.h"

#include <array>
#include <boost/asio/ip/udp.hpp>
#include <optional>
#include <utility>

#include "AsioCore.h"
#include "AsioDispatcher.h"

namespace zul::platform {

namespace {

using Udp = boost::asio::ip::udp;
using Socket = boost::asio::basic_datagram_socket<Udp, AsioCore::Context::executor_type>;
using Failure = boost::system::error_code;

// What is longer is cut: nobody here expects more.
constexpr std::size_t kMostReceived = 512;

/// What the handle and the context's handlers share. The order of locks is the core's, then this one.
class Endpoint final : public AsioCore::Guest, public std::enable_shared_from_this<Endpoint> {
 public:
  Endpoint(std::shared_ptr<AsioCore> core, UdpSockets::Receive receive)
      : core_(std::move(core)), receive_(std::move(receive)) {}

  void send(const Udp::endpoint& server, std::span<const std::byte> datagram) {
    if (!isOpen()) open(server.protocol());
    const MutexLock lock(mutex_);
    if (!socket_) return;
    Failure failure;
    socket_->send_to(boost::asio::buffer(datagram.data(), datagram.size()), server, 0, failure);
    listen();
  }

  void leave() noexcept override { close(); }

  void close() noexcept {
    const MutexLock lock(mutex_);
    closed_ = true;
    socket_.reset();
  }

 private:
  bool isOpen() {
    const MutexLock lock(mutex_);
    return closed_ || socket_.has_value();
  }

  void open(const Udp& protocol) {
    core_->admit(shared_from_this(), [&](boost::asio::io_context& context) {
      const MutexLock lock(mutex_);
      if (closed_ || socket_) return;
      Failure failure;
      socket_.emplace(context);
      socket_->open(protocol, failure);
      if (!failure) socket_->non_blocking(true, failure);
      if (failure) socket_.reset();  // no descriptor left, or no such protocol here: the next send tries again
    });
  }

  void listen() ZUL_REQUIRES(mutex_) {
    if (listening_) return;
    socket_->async_wait(Socket::wait_read, [self = shared_from_this()](const Failure&) { self->arrived(); });
    listening_ = true;
  }

  void arrived() {
    std::array<std::byte, kMostReceived> datagram{};
    Udp::endpoint sender;
    Failure failure;
    std::size_t size = 0;
    {
      const MutexLock lock(mutex_);
      listening_ = false;
      if (!socket_) return;
      size = socket_->receive_from(boost::asio::buffer(datagram.data(), datagram.size()), sender, 0, failure);
      listen();
    }
    if (!failure) receive_(std::span(datagram).first(size), sender.address().to_string());
  }

  const std::shared_ptr<AsioCore> core_;
  const UdpSockets::Receive receive_;
  Mutex mutex_;
  std::optional<Socket> socket_ ZUL_GUARDED_BY(mutex_);
  bool listening_ ZUL_GUARDED_BY(mutex_) = false;
  bool closed_ ZUL_GUARDED_BY(mutex_) = false;
};

class AsioUdpSocket final : public UdpSocket {
 public:
  explicit AsioUdpSocket(std::shared_ptr<Endpoint> endpoint) : endpoint_(std::move(endpoint)) {}
  ~AsioUdpSocket() override { endpoint_->close(); }
  AsioUdpSocket(const AsioUdpSocket&) = delete;
  AsioUdpSocket& operator=(const AsioUdpSocket&) = delete;

  void send(const std::string& address, std::uint16_t port, std::span<const std::byte> datagram) override {
    Failure failure;
    const auto numeric = boost::asio::ip::make_address(address, failure);
    if (!failure) endpoint_->send({numeric, port}, datagram);
  }

 private:
  const std::shared_ptr<Endpoint> endpoint_;
};

}  // namespace

std::unique_ptr<UdpSocket> AsioUdpSockets::open(Receive receive) {
  return std::make_unique<AsioUdpSocket>(std::make_shared<Endpoint>(dispatcher_->core(), std::move(receive)));
}

}  // namespace zul::platform
