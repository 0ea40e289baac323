#include "Connection.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <sys/time.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>

namespace zul::collector {

namespace {

void setTimeout(int socket, int option, timeval time) {
  setsockopt(socket, SOL_SOCKET, option, &time, sizeof time);
}

}  // namespace

Connection::Connection(int socket, SSL_CTX* tls) : socket_(socket), tls_(tls ? SSL_new(tls) : nullptr) {
  const int on = 1;
  setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
  setTimeout(socket, SO_RCVTIMEO, {.tv_sec = 60, .tv_usec = 0});
  setTimeout(socket, SO_SNDTIMEO, {.tv_sec = 60, .tv_usec = 0});
  if (tls_) SSL_set_fd(tls_.get(), socket);
}

bool Connection::open() {
  if (!tls_) return true;
  ERR_clear_error();
  return SSL_accept(tls_.get()) == 1;
}

bool Connection::flush() {
  const bool sent = dropped_ || sendAll(out_.data(), out_.size());
  out_.clear();
  return sent;
}

void Connection::finish(bool linger) {
  if (dropped_) return;
  flush();
  if (tls_) {
    ERR_clear_error();
    SSL_shutdown(tls_.get());
  }
  if (!linger) return;
  ::shutdown(socket_, SHUT_WR);
  setTimeout(socket_, SO_RCVTIMEO, {.tv_sec = 0, .tv_usec = 500'000});
  for (std::size_t left = std::size_t{256} << 20; left > 0;) {
    const ssize_t got = ::recv(socket_, in_.data(), in_.size(), 0);
    if (got <= 0) return;
    left -= std::min(left, static_cast<std::size_t>(got));
  }
}

bool Connection::is_readable() const {
  return inAt_ < inEnd_;
}

ssize_t Connection::read(char* data, size_t size) {
  if (headLeft_ != kUnlimited) {
    if (headLeft_ < size) return -1;
    headLeft_ -= size;
  }
  if (inAt_ == inEnd_) {
    if (!out_.empty() && !flush()) return -1;
    // A large piece needs no stop in between.
    if (size >= in_.size()) return receive(data, size);
    const ssize_t got = receive(in_.data(), in_.size());
    if (got <= 0) return got;
    inAt_ = 0;
    inEnd_ = static_cast<std::size_t>(got);
  }
  const auto count = std::min(size, inEnd_ - inAt_);
  std::memcpy(data, in_.data() + inAt_, count);
  inAt_ += count;
  return static_cast<ssize_t>(count);
}

ssize_t Connection::write(const char* data, size_t size) {
  if (dropped_) return static_cast<ssize_t>(size);
  out_.append(data, size);
  if (out_.size() >= std::size_t{64} << 10 && !flush()) return -1;
  return static_cast<ssize_t>(size);
}

// The addresses would only become headers that nobody sent.
void Connection::get_remote_ip_and_port(std::string& ip, int& port) const {
  ip.clear();
  port = 0;
}

void Connection::get_local_ip_and_port(std::string& ip, int& port) const {
  get_remote_ip_and_port(ip, port);
}

ssize_t Connection::receive(char* data, std::size_t size) {
  if (tls_) {
    ERR_clear_error();
    return SSL_read(tls_.get(), data, static_cast<int>(std::min<std::size_t>(size, INT_MAX)));
  }
  ssize_t got = 0;
  do {
    got = ::recv(socket_, data, size, 0);
  } while (got < 0 && errno == EINTR);
  return got;
}

bool Connection::sendAll(const char* data, std::size_t size) {
  while (size > 0) {
    ssize_t sent = 0;
    if (tls_) {
      ERR_clear_error();
      sent = SSL_write(tls_.get(), data, static_cast<int>(std::min<std::size_t>(size, INT_MAX)));
    } else {
      sent = ::send(socket_, data, size, MSG_NOSIGNAL);
      if (sent < 0 && errno == EINTR) continue;
    }
    if (sent <= 0) return false;
    data += sent;
    size -= static_cast<std::size_t>(sent);
  }
  return true;
}

}  // namespace zul::collector
