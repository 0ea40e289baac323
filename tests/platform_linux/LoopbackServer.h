#pragma once

#include <arpa/inet.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <functional>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace zul::test {

/// A request as it came over the wire.
struct WireRequest {
  std::string line;  // "GET /path HTTP/1.1"
  std::vector<std::string> names;
  std::vector<std::string> values;
  std::string body;

  std::string header(const std::string& name) const {
    const auto place = std::find(names.begin(), names.end(), name);
    return place == names.end() ? std::string() : values[static_cast<std::size_t>(place - names.begin())];
  }
};

/// A bare HTTP/1.1 server on the loopback interface that answers with raw bytes and remembers what it was sent.
class LoopbackServer {
 public:
  /// Gives the raw answer; may block. After an empty one, and one that says so, the connection is closed.
  using Handler = std::function<std::string(const WireRequest&)>;

  explicit LoopbackServer(Handler handler) : handler_(std::move(handler)) {
    address_.sin_family = AF_INET;
    address_.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address_;
    auto* const address = reinterpret_cast<sockaddr*>(&address_);
    if (::bind(listener_, address, length) != 0 || ::listen(listener_, 64) != 0 ||
        ::getsockname(listener_, address, &length) != 0) {
      throw std::runtime_error("no loopback port");
    }
    acceptor_ = std::thread([this] { accept(); });
  }

  ~LoopbackServer() {
    ::shutdown(listener_, SHUT_RDWR);
    acceptor_.join();
    for (const int socket : sockets_) ::shutdown(socket, SHUT_RDWR);
    for (auto& thread : threads_) thread.join();
    for (const int socket : sockets_) ::close(socket);
    ::close(listener_);
  }
  LoopbackServer(const LoopbackServer&) = delete;
  LoopbackServer& operator=(const LoopbackServer&) = delete;

  std::string url(const std::string& path) const {
    return "http://127.0.0.1:" + std::to_string(ntohs(address_.sin_port)) + path;
  }

  std::vector<WireRequest> requests() const {
    const std::lock_guard lock(mutex_);
    return requests_;
  }

  std::size_t connections() const {
    const std::lock_guard lock(mutex_);
    return sockets_.size();
  }

  static std::string answer(const std::string& body, const std::string& headers = {}, int status = 200) {
    return "HTTP/1.1 " + std::to_string(status) + " Answer\r\n" + headers +
           "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
  }

 private:
  void accept() {
    for (int socket = 0; (socket = ::accept(listener_, nullptr, nullptr)) >= 0;) {
      const std::lock_guard lock(mutex_);
      sockets_.push_back(socket);
      threads_.emplace_back([this, socket] {
        try {
          std::string buffer;
          while (serve(socket, buffer)) {
          }
        } catch (const std::exception&) {  // the client is gone
        }
        ::shutdown(socket, SHUT_RDWR);
      });
    }
  }

  static void fill(int socket, std::string& buffer) {
    char part[65536];
    const ssize_t count = ::recv(socket, part, sizeof part, 0);
    if (count <= 0) throw std::runtime_error("the connection ended");
    buffer.append(part, static_cast<std::size_t>(count));
  }

  static std::string bytes(int socket, std::string& buffer, std::size_t count) {
    while (buffer.size() < count) fill(socket, buffer);
    std::string taken = buffer.substr(0, count);
    buffer.erase(0, count);
    return taken;
  }

  static std::string line(int socket, std::string& buffer) {
    while (buffer.find("\r\n") == std::string::npos) fill(socket, buffer);
    std::string taken = bytes(socket, buffer, buffer.find("\r\n") + 2);
    taken.resize(taken.size() - 2);
    return taken;
  }

  bool serve(int socket, std::string& buffer) {
    WireRequest request;
    request.line = line(socket, buffer);
    for (std::string header; !(header = line(socket, buffer)).empty();) {
      const auto colon = header.find(':');
      request.names.push_back(header.substr(0, colon));
      request.values.push_back(header.substr(std::min(colon + 2, header.size())));
    }
    if (request.header("Transfer-Encoding") == "chunked") {
      while (const std::size_t size = std::stoul(line(socket, buffer), nullptr, 16)) {
        request.body += bytes(socket, buffer, size);
        line(socket, buffer);
      }
      line(socket, buffer);
    } else if (const std::string length = request.header("Content-Length"); !length.empty()) {
      request.body = bytes(socket, buffer, std::stoul(length));
    }
    {
      const std::lock_guard lock(mutex_);
      requests_.push_back(request);
    }
    const std::string answer = handler_(request);
    for (std::size_t sent = 0; sent < answer.size();) {
      const ssize_t count = ::send(socket, answer.data() + sent, answer.size() - sent, MSG_NOSIGNAL);
      if (count <= 0) return false;
      sent += static_cast<std::size_t>(count);
    }
    return !answer.empty() && answer.find("Connection: close") == std::string::npos;
  }

  const Handler handler_;
  const int listener_ = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in address_{};
  mutable std::mutex mutex_;
  std::vector<WireRequest> requests_;
  std::vector<int> sockets_;
  std::vector<std::thread> threads_;
  std::thread acceptor_;
};

}  // namespace zul::test
