#include "Loopback.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <cerrno>
#include <cstdint>
#include <string_view>
#include <system_error>

namespace zul::test {

namespace {

constexpr int kBacklog = 512;

Descriptor newSocket() {
  return {::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0), "no socket"};
}

sockaddr_in addressOf(int port) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(static_cast<std::uint16_t>(port));
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  return address;
}

}  // namespace

LoopbackPort::LoopbackPort() : socket(newSocket()) {
  auto address = addressOf(0);
  socklen_t length = sizeof address;
  auto* const generic = reinterpret_cast<sockaddr*>(&address);
  if (::bind(socket.get(), generic, length) != 0 || ::getsockname(socket.get(), generic, &length) != 0) {
    throw std::system_error(errno, std::generic_category(), "no loopback port");
  }
  port = ntohs(address.sin_port);
}

void LoopbackPort::listen() const {
  if (::listen(socket.get(), kBacklog) != 0) throw std::system_error(errno, std::generic_category(), "listen");
}

Descriptor connectToLoopback(int port) {
  auto socket = newSocket();
  const auto address = addressOf(port);
  if (::connect(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) socket.close();
  return socket;
}

bool sendAll(const Descriptor& socket, const std::string& bytes) {
  for (std::string_view left = bytes; !left.empty();) {
    const auto sent = ::send(socket.get(), left.data(), left.size(), MSG_NOSIGNAL);
    if (sent <= 0) return false;
    left.remove_prefix(static_cast<std::size_t>(sent));
  }
  return true;
}

}  // namespace zul::test
