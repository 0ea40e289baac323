#include "EpollAnswerer.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <strings.h>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <map>
#include <memory>
#include <stdexcept>
#include <string_view>

#include "Loopback.h"

namespace zul::bench {

namespace {

using test::Descriptor;

constexpr auto kStart = std::chrono::seconds(30);
constexpr std::string_view kAnswer =
    "HTTP/1.1 200 OK\r\nContent-Type: application/json\r\nContent-Length: 17\r\n\r\n{\"code\":\"RES001\"}";

/// Finds where the requests of a connection end, whatever the pieces in which they come.
class Requests {
 public:
  /// The number of requests that end within the next bytes.
  int read(std::string_view bytes) {
    int ended = 0;
    while (!bytes.empty()) {
      if (left_ > 0) {
        const auto passed = std::min(left_, bytes.size());
        left_ -= passed;
        bytes.remove_prefix(passed);
        if (left_ == 0 && part_ == Part::body) ended += end();
        continue;
      }
      const auto feed = bytes.find('\n');
      line_ += bytes.substr(0, feed);
      if (feed == bytes.npos) break;
      bytes.remove_prefix(feed + 1);
      if (line_.ends_with('\r')) line_.pop_back();
      ended += readLine();
      line_.clear();
    }
    return ended;
  }

 private:
  enum class Part { head, body, chunks, trailer };

  int readLine() {
    if (part_ == Part::chunks) {
      if (line_.empty()) return 0;  // behind a chunk
      left_ = std::strtoul(line_.c_str(), nullptr, 16);
      if (left_ == 0) part_ = Part::trailer;
    } else if (part_ == Part::trailer) {
      return line_.empty() ? end() : 0;
    } else if (const auto length = header("Content-Length:")) {
      length_ = std::strtoul(length, nullptr, 10);
    } else if (header("Transfer-Encoding: chunked")) {
      isChunked_ = true;
    } else if (line_.empty() && isChunked_) {
      part_ = Part::chunks;
    } else if (line_.empty()) {
      part_ = Part::body;
      left_ = length_;
      return left_ == 0 ? end() : 0;
    }
    return 0;
  }

  // What follows `start`; null when the line begins otherwise.
  const char* header(std::string_view start) const {
    return ::strncasecmp(line_.c_str(), start.data(), start.size()) == 0 ? line_.c_str() + start.size() : nullptr;
  }

  int end() {
    *this = {};
    return 1;
  }

  Part part_ = Part::head;
  std::string line_;        // as far as it has come
  std::size_t left_ = 0;    // bytes of the body, or of its chunk
  std::size_t length_ = 0;  // the body's
  bool isChunked_ = false;
};

struct Connection {
  Descriptor socket;
  Requests requests{};
};

class Answerer {
 public:
  Answerer() : poll_(::epoll_create1(EPOLL_CLOEXEC), "epoll") {
    port_.listen();
    watch(port_.socket.get());
    watch(STDIN_FILENO);
  }

  std::string host() const { return port_.host(); }

  /// Until the input ends.
  void run() {
    std::array<epoll_event, 64> ready{};
    while (true) {
      const int count = ::epoll_wait(poll_.get(), ready.data(), static_cast<int>(ready.size()), -1);
      for (int n = 0; n < count; ++n) {
        const int file = ready.at(static_cast<std::size_t>(n)).data.fd;
        if (file == STDIN_FILENO) return;
        if (file == port_.socket.get()) {
          accept();
        } else {
          serve(file);
        }
      }
    }
  }

 private:
  void watch(int file) const {
    epoll_event event{};
    event.events = EPOLLIN;
    event.data.fd = file;
    ::epoll_ctl(poll_.get(), EPOLL_CTL_ADD, file, &event);
  }

  void accept() {
    const int file = ::accept4(port_.socket.get(), nullptr, nullptr, SOCK_CLOEXEC);
    if (file < 0) return;
    const int on = 1;
    ::setsockopt(file, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    connections_.insert_or_assign(file, Connection{Descriptor(file, "connection")});
    watch(file);
  }

  void serve(int file) {
    auto& connection = connections_.at(file);
    const auto length = ::recv(file, buffer_.data(), buffer_.size(), 0);
    bool open = length > 0;
    if (open) {
      const int ended = connection.requests.read({buffer_.data(), static_cast<std::size_t>(length)});
      for (int n = 0; n < ended && open; ++n) open = test::sendAll(connection.socket, std::string(kAnswer));
    }
    if (!open) connections_.erase(file);
  }

  Descriptor poll_;
  test::LoopbackPort port_;
  std::map<int, Connection> connections_;  // by file
  std::array<char, 256 * 1024> buffer_{};
};

int serve() {
  const auto answerer = std::make_unique<Answerer>();
  const auto url = "http://" + answerer->host() + "\n";
  if (::write(STDOUT_FILENO, url.data(), url.size()) < 0) return 1;
  answerer->run();
  return 0;
}

}  // namespace

EpollAnswerer::EpollAnswerer() : process_(serve), url_(process_.takeUpTo("\n", kStart)) {
  if (!url_.ends_with('\n')) throw std::runtime_error("the answerer did not start");
  url_.pop_back();
}

}  // namespace zul::bench
