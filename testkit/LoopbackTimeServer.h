#pragma once

#include <array>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/udp.hpp>
#include <cstdint>
#include <string>
#include <thread>

#include "TimeServer.h"

namespace zul::test {

/// A time server on UDP, on a thread of its own.
class LoopbackTimeServer {
 public:
  /// Answers at the address, whose port may be 0 for any, by this machine's clock and so many seconds ahead of it.
  /// Throws boost::system::system_error when it cannot listen there.
  LoopbackTimeServer(const std::string& address, std::uint16_t port, double ahead, const TimeServer& server = {});
  ~LoopbackTimeServer();
  LoopbackTimeServer(const LoopbackTimeServer&) = delete;
  LoopbackTimeServer& operator=(const LoopbackTimeServer&) = delete;

  std::uint16_t port() const { return port_; }

 private:
  void serve();

  const double ahead_;
  TimeServer server_;
  boost::asio::io_context context_{1};
  boost::asio::ip::udp::socket socket_;
  std::uint16_t port_;
  boost::asio::ip::udp::endpoint asker_;
  std::array<std::byte, 512> question_{};
  std::thread thread_;
};

}  // namespace zul::test
