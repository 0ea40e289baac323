#pragma once

#include <httplib.h>
#include <openssl/ssl.h>

#include <array>
#include <cstddef>
#include <memory>
#include <string>

namespace zul::collector {

/// One accepted connection, plain or over TLS, as the HTTP library reads and writes it. It gathers what is
/// written, so that an answer leaves in one piece, and can keep an answer from leaving at all. One thread
/// uses it, but another may shut its socket down.
class Connection final : public httplib::Stream {
 public:
  /// Does not own `socket`; speaks TLS when there is a context.
  Connection(int socket, SSL_CTX* tls);

  /// Does the TLS handshake where there is one to do.
  bool open();

  /// The head of a request is read from here on. Reading fails once it is larger than any honest one.
  void beginHead() noexcept { headLeft_ = kMaxHead; }
  void endHead() noexcept { headLeft_ = kUnlimited; }

  /// Throws away what is written from here on.
  void drop() noexcept { dropped_ = true; }
  bool dropped() const noexcept { return dropped_; }

  bool flush();

  /// Ends the connection after the answer. Where the request was not read to its end, `linger` reads on for
  /// a moment: a socket closed over unread data takes the answer with it.
  void finish(bool linger);

  bool is_readable() const override;
  bool is_writable() const override { return true; }
  ssize_t read(char* data, size_t size) override;
  ssize_t write(const char* data, size_t size) override;
  void get_remote_ip_and_port(std::string& ip, int& port) const override;
  void get_local_ip_and_port(std::string& ip, int& port) const override;
  socket_t socket() const override { return socket_; }

 private:
  static constexpr std::size_t kMaxHead = std::size_t{256} << 10;
  static constexpr std::size_t kUnlimited = static_cast<std::size_t>(-1);

  ssize_t receive(char* data, std::size_t size);
  bool sendAll(const char* data, std::size_t size);

  struct FreeSsl {
    void operator()(SSL* ssl) const noexcept { SSL_free(ssl); }
  };

  int socket_;
  std::unique_ptr<SSL, FreeSsl> tls_;
  std::array<char, 16384> in_;
  std::size_t inAt_ = 0;
  std::size_t inEnd_ = 0;
  std::string out_;
  std::size_t headLeft_ = kUnlimited;
  bool dropped_ = false;
};

}  // namespace zul::collector
