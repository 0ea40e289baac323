#include "LoopbackServer.h"

#include <arpa/inet.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <stdexcept>

namespace zul::test {

namespace {

/// Reads a connection line by line and byte by byte; throws when it ends.
class Reader {
 public:
  explicit Reader(int socket) : socket_(socket) {}

  std::string line() {
    std::size_t end = 0;
    while ((end = buffer_.find("\r\n")) == std::string::npos) fill();
    return take(end, 2);
  }

  std::string bytes(std::size_t count) {
    while (buffer_.size() < count) fill();
    return take(count, 0);
  }

 private:
  void fill() {
    char part[65536];
    const ssize_t count = ::recv(socket_, part, sizeof part, 0);
    if (count <= 0) throw std::runtime_error("the connection ended");
    buffer_.append(part, static_cast<std::size_t>(count));
  }

  std::string take(std::size_t count, std::size_t skip) {
    std::string taken = buffer_.substr(0, count);
    buffer_.erase(0, count + skip);
    return taken;
  }

  const int socket_;
  std::string buffer_;
};

WireRequest read(Reader& reader) {
  WireRequest request;
  request.line = reader.line();
  for (std::string line; !(line = reader.line()).empty();) {
    const auto colon = line.find(':');
    request.headers.emplace_back(line.substr(0, colon), line.substr(std::min(colon + 2, line.size())));
  }
  if (request.header("Transfer-Encoding") == "chunked") {
    while (const std::size_t size = std::stoul(reader.line(), nullptr, 16)) {
      request.body += reader.bytes(size);
      reader.line();
    }
    reader.line();
  } else if (const std::string length = request.header("Content-Length"); !length.empty()) {
    request.body = reader.bytes(std::stoul(length));
  }
  return request;
}

}  // namespace

std::string WireRequest::header(const std::string& name) const {
  for (const auto& [key, value] : headers) {
    if (key == name) return value;
  }
  return {};
}

std::vector<std::string> WireRequest::headerNames() const {
  std::vector<std::string> names;
  for (const auto& header : headers) names.push_back(header.first);
  return names;
}

LoopbackServer::LoopbackServer(Handler handler) : handler_(std::move(handler)) {
  listener_ = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t length = sizeof address;
  if (::bind(listener_, reinterpret_cast<sockaddr*>(&address), length) != 0 || ::listen(listener_, 64) != 0 ||
      ::getsockname(listener_, reinterpret_cast<sockaddr*>(&address), &length) != 0) {
    throw std::runtime_error("no loopback port");
  }
  port_ = ntohs(address.sin_port);
  acceptor_ = std::thread([this] { accept(); });
}

LoopbackServer::~LoopbackServer() {
  ::shutdown(listener_, SHUT_RDWR);
  acceptor_.join();
  ::close(listener_);
  {
    const std::lock_guard lock(mutex_);
    closing_ = true;
    for (const int socket : sockets_) ::shutdown(socket, SHUT_RDWR);
  }
  for (auto& thread : threads_) thread.join();
  for (const int socket : sockets_) ::close(socket);
}

std::string LoopbackServer::url(const std::string& path) const {
  return "http://127.0.0.1:" + std::to_string(port_) + path;
}

std::vector<WireRequest> LoopbackServer::requests() const {
  const std::lock_guard lock(mutex_);
  return requests_;
}

int LoopbackServer::connections() const {
  const std::lock_guard lock(mutex_);
  return static_cast<int>(sockets_.size());
}

std::string LoopbackServer::answer(const std::string& body, const std::string& extraHeaders, int status) {
  return "HTTP/1.1 " + std::to_string(status) + " Answer\r\n" + extraHeaders +
         "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
}

void LoopbackServer::accept() {
  for (int socket = 0; (socket = ::accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC)) >= 0;) {
    const std::lock_guard lock(mutex_);
    const int connection = static_cast<int>(sockets_.size());
    sockets_.push_back(socket);
    threads_.emplace_back([this, socket, connection] { serve(socket, connection); });
  }
}

void LoopbackServer::serve(int socket, int connection) {
  Reader reader(socket);
  try {
    for (std::string answer = " "; !answer.empty();) {
      WireRequest request = read(reader);
      request.connection = connection;
      {
        const std::lock_guard lock(mutex_);
        requests_.push_back(request);
      }
      answer = handler_(request);
      for (std::string_view rest = answer; !rest.empty();) {
        const ssize_t sent = ::send(socket, rest.data(), rest.size(), MSG_NOSIGNAL);
        if (sent <= 0) throw std::runtime_error("the connection ended");
        rest.remove_prefix(static_cast<std::size_t>(sent));
      }
      if (answer.find("Connection: close") != std::string::npos) break;
    }
  } catch (const std::exception&) {  // the client is gone
  }
  ::shutdown(socket, SHUT_RDWR);
}

}  // namespace zul::test
