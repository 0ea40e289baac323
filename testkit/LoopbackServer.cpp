#include "LoopbackServer.h"

#include <sys/socket.h>

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace zul::test {

std::string WireRequest::header(const std::string& name) const {
  const auto place = std::find(names.begin(), names.end(), name);
  return place == names.end() ? std::string() : values[static_cast<std::size_t>(place - names.begin())];
}

LoopbackServer::LoopbackServer(Handler handler) : handler_(std::move(handler)) {
  port_.listen();
  acceptor_ = std::thread([this] { accept(); });
}

LoopbackServer::~LoopbackServer() {
  ::shutdown(port_.socket.get(), SHUT_RDWR);
  acceptor_.join();
  for (const auto& connection : connections_) ::shutdown(connection->socket.get(), SHUT_RDWR);
  for (const auto& connection : connections_) connection->thread.join();
}

std::vector<WireRequest> LoopbackServer::requests() const {
  const std::lock_guard lock(mutex_);
  return requests_;
}

std::size_t LoopbackServer::connections() const {
  const std::lock_guard lock(mutex_);
  return connections_.size();
}

std::string LoopbackServer::answer(const std::string& body, const std::string& headers, int status) {
  return "HTTP/1.1 " + std::to_string(status) + " Answer\r\n" + headers +
         "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
}

void LoopbackServer::accept() {
  for (int socket = 0; (socket = ::accept4(port_.socket.get(), nullptr, nullptr, SOCK_CLOEXEC)) >= 0;) {
    const std::lock_guard lock(mutex_);
    connections_.push_back(std::make_unique<Connection>(Connection{Descriptor(socket, "connection")}));
    auto& connection = *connections_.back();
    connection.thread = std::thread([this, &connection] {
      try {
        while (serve(connection)) {
        }
      } catch (const std::exception&) {  // the client is gone
      }
      ::shutdown(connection.socket.get(), SHUT_RDWR);
    });
  }
}

void LoopbackServer::Connection::fill() {
  char part[65536];
  const ssize_t count = ::recv(socket.get(), part, sizeof part, 0);
  if (count <= 0) throw std::runtime_error("the connection ended");
  buffer.append(part, static_cast<std::size_t>(count));
}

std::string LoopbackServer::Connection::bytes(std::size_t count) {
  while (buffer.size() < count) fill();
  std::string taken = buffer.substr(0, count);
  buffer.erase(0, count);
  return taken;
}

std::string LoopbackServer::Connection::line() {
  while (buffer.find("\r\n") == std::string::npos) fill();
  std::string taken = bytes(buffer.find("\r\n") + 2);
  taken.resize(taken.size() - 2);
  return taken;
}

bool LoopbackServer::serve(Connection& connection) {
  WireRequest request;
  request.line = connection.line();
  for (std::string header; !(header = connection.line()).empty();) {
    const auto colon = header.find(':');
    request.names.push_back(header.substr(0, colon));
    request.values.push_back(header.substr(std::min(colon + 2, header.size())));
  }
  if (request.header("Transfer-Encoding") == "chunked") {
    while (const std::size_t size = std::stoul(connection.line(), nullptr, 16)) {
      request.body += connection.bytes(size);
      connection.line();
    }
    connection.line();
  } else if (const std::string length = request.header("Content-Length"); !length.empty()) {
    request.body = connection.bytes(std::stoul(length));
  }
  {
    const std::lock_guard lock(mutex_);
    requests_.push_back(request);
  }
  const std::string answer = handler_(request);
  return sendAll(connection.socket, answer) && !answer.empty() && answer.find("Connection: close") == std::string::npos;
}

}  // namespace zul::test
