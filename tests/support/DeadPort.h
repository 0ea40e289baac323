#pragma once

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <stdexcept>
#include <string>

namespace zul::test {

/// A local port of its own. Nobody accepts a connection there: with `listening` it is made all the same and waits
/// for ever, without it is refused.
class DeadPort {
 public:
  explicit DeadPort(bool listening) : socket_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    auto* const generic = reinterpret_cast<sockaddr*>(&address);
    if (::bind(socket_, generic, length) != 0 || (listening && ::listen(socket_, 512) != 0) ||
        ::getsockname(socket_, generic, &length) != 0) {
      throw std::runtime_error("no port");
    }
    host_ = "127.0.0.1:" + std::to_string(ntohs(address.sin_port));
  }
  ~DeadPort() { ::close(socket_); }
  DeadPort(const DeadPort&) = delete;
  DeadPort& operator=(const DeadPort&) = delete;

  /// "127.0.0.1:port"
  const std::string& host() const { return host_; }

 private:
  int socket_;
  std::string host_;
};

}  // namespace zul::test
