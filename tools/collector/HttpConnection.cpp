// The only file that includes Beast, which takes long to compile.

#include "HttpConnection.h"

#include <fmt/format.h>

#include <algorithm>
#include <boost/asio/dispatch.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/write.hpp>
#include <boost/beast/core/basic_stream.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/http/parser.hpp>
#include <boost/beast/http/read.hpp>
#include <boost/beast/http/serializer.hpp>
#include <boost/beast/http/string_body.hpp>
#include <boost/beast/http/write.hpp>
#include <boost/beast/ssl/ssl_stream.hpp>
#include <functional>
#include <optional>
#include <string_view>
#include <type_traits>
#include <utility>

namespace zul::collector {

namespace {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace http = beast::http;

constexpr std::size_t kMaxTarget = std::size_t{8} << 10;
constexpr std::size_t kMaxHead = std::size_t{64} << 10;
constexpr std::size_t kMaxBody = std::size_t{16} << 20;
constexpr std::size_t kMaxBodies = std::size_t{128} << 20;  // of all connections together, while they come in
constexpr std::size_t kPiece = std::size_t{64} << 10;
constexpr std::size_t kIdleBuffer = std::size_t{4} << 10;
constexpr std::chrono::seconds kPatience{60};  // for a byte, in either direction
constexpr std::chrono::milliseconds kLookAgain{100};

using Plain = beast::basic_stream<asio::ip::tcp, Strand>;
using Tls = beast::ssl_stream<Plain>;

/// Shared by the operations under way; gone when there is none.
template <typename Stream>
class Connection : public std::enable_shared_from_this<Connection<Stream>> {
 public:
  template <typename... Context>
  Connection(Socket&& socket, Service& service, Context&... context)
      : stream_(std::move(socket), context...),
        timer_(stream_.get_executor()),
        watch_(stream_.get_executor()),
        service_(service) {}
  ~Connection() { service_.unread -= unread_; }
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  void start() {
    asio::dispatch(stream_.get_executor(), [self = this->shared_from_this()] {
      beast::error_code ignored;
      self->tcp().socket().set_option(asio::ip::tcp::no_delay(true), ignored);
      self->open();
    });
  }

 private:
  Plain& tcp() { return beast::get_lowest_layer(stream_); }

  /// From now on the other side has `patience` for the next step. One timer watches over all of them: setting one for
  /// each costs more than the step.
  void beginWaiting(std::chrono::milliseconds patience = kPatience) {
    deadline_ = Clock::now() + patience;
    if (deadline_ < watch_.expiry() || !watching_) watch();
  }

  void watch() {
    watching_ = true;
    watch_.expires_at(deadline_);
    watch_.async_wait([weak = this->weak_from_this()](beast::error_code error) {
      const auto self = weak.lock();
      if (error || !self) return;
      if (Clock::now() < self->deadline_) return self->watch();
      self->watching_ = false;
      self->timedOut_ = true;
      self->tcp().socket().close(error);
    });
  }

  /// A completion handler that goes on with `next` where the operation has succeeded, and else lets go.
  auto then(void (Connection::*next)()) {
    return [self = this->shared_from_this(), next](beast::error_code error, auto&&...) {
      if (!error) (*self.*next)();
    };
  }

  void open() {
    if constexpr (std::is_same_v<Stream, Tls>) {
      beginWaiting();
      stream_.async_handshake(asio::ssl::stream_base::server, then(&Connection::readRequest));
    } else {
      readRequest();
    }
  }

  void readRequest() {
    parser_.emplace();
    parser_->header_limit(kMaxHead);
    parser_->body_limit(kMaxBody);
    parser_->eager(true);
    buffer_.reserve(kIdleBuffer);  // as much is read at once as the buffer has room for: most requests whole
    readMore();
  }

  void readMore() {
    beginWaiting();
    http::async_read_some(
        stream_, buffer_, *parser_,
        [self = this->shared_from_this()](beast::error_code error, std::size_t) { self->takeMore(error); });
  }

  void takeMore(beast::error_code error) {
    if (timedOut_) error = beast::error::timeout;
    if (error) {
      if (parser_->got_some()) refuse(error);
    } else if (parser_->is_done()) {
      handle({});
    } else if (!hasRoom()) {
      readWhole_ = false;
      handle("too much is being sent at once", 503);
    } else if (parser_->is_header_done() && !std::exchange(inBody_, true)) {
      beginBody();
    } else {
      readMore();
    }
  }

  /// A body has its limit, but a thousand connections may have a thousand of them.
  bool hasRoom() {
    const auto more = parser_->get().body().size() - unread_;
    unread_ += more;
    return (service_.unread += more) <= kMaxBodies;
  }

  void beginBody() {
    const auto left = parser_->content_length_remaining().value_or(kPiece);
    buffer_.reserve(std::min<std::size_t>(left, kPiece));
    if (!beast::iequals(parser_->get()[http::field::expect], "100-continue")) return readMore();
    static constexpr std::string_view kContinue = "HTTP/1.1 100 Continue\r\n\r\n";
    beginWaiting();
    asio::async_write(stream_, asio::buffer(kContinue), then(&Connection::readMore));
  }

  void refuse(beast::error_code error) {
    readWhole_ = false;
    if (error == http::error::body_limit) {
      handle(fmt::format("the body is larger than {} bytes", kMaxBody), 413);
    } else if (parser_->is_header_done()) {
      handle("the body ends early or is not framed properly");
    } else {
      handle("not a well-formed HTTP request: " + error.message());
    }
  }

  void handle(std::string problem, int status = 400) {
    HttpRequest request;
    const auto& message = parser_->get();
    request.method = message.method_string();
    request.target = message.target();
    for (const auto& field : message) {
      auto& value = request.headers[field.name_string()];
      value.append(value.empty() ? "" : ", ").append(field.value());
    }
    if (problem.empty() && request.target.size() > kMaxTarget) problem = "the request's target is too long";
    request.problem = std::move(problem);
    request.status = status;
    if (request.problem.empty()) request.body = std::move(parser_->get().body());
    const bool withoutBody = message.method() == http::verb::head;
    response_.version(message.version() == 10 ? 10 : 11);
    response_.keep_alive(readWhole_ && parser_->keep_alive());
    parser_.reset();
    if (buffer_.capacity() > kIdleBuffer) buffer_.shrink_to_fit();
    service_.unread -= std::exchange(unread_, 0);
    inBody_ = false;

    auto reply = service_.handler(std::move(request));
    if (reply.drop) response_.keep_alive(false);
    drop_ = reply.drop;
    response_.result(static_cast<unsigned>(reply.status));
    response_.set(http::field::content_type, reply.type);
    for (const auto& [name, value] : reply.headers) response_.set(name, value);
    const bool neverHasOne = reply.status == 204 || reply.status == 304;
    response_.body() = withoutBody || neverHasOne ? std::string() : std::move(reply.body);
    if (reply.more && !withoutBody) return beginStream(std::move(reply.more));
    response_.prepare_payload();
    if (reply.delay.count() <= 0) return answer();
    beginWaiting(reply.delay + kPatience);
    timer_.expires_after(reply.delay);
    timer_.async_wait(then(&Connection::answer));
  }

  void answer() {
    if (drop_) return;
    beginWaiting();
    http::async_write(stream_, response_, then(&Connection::answered));
  }

  /// The body has no length: it ends with the connection.
  void beginStream(std::function<std::string()> more) {
    more_ = std::move(more);
    response_.keep_alive(false);
    serializer_.emplace(response_);
    beginWaiting();
    http::async_write_header(stream_, *serializer_, then(&Connection::goOn));
  }

  void goOn() {
    piece_ = more_();
    if (!piece_.empty()) return writePiece();
    timer_.expires_after(kLookAgain);
    timer_.async_wait(then(&Connection::goOn));
  }

  void writePiece() {
    beginWaiting();
    asio::async_write(stream_, asio::buffer(piece_), then(&Connection::goOn));
  }

  void answered() {
    const bool goesOn = response_.keep_alive();
    response_ = {};
    if (goesOn) {
      readRequest();
    } else if (!readWhole_) {
      beast::error_code ignored;
      tcp().socket().shutdown(asio::ip::tcp::socket::shutdown_send, ignored);
      discard();
    } else if constexpr (std::is_same_v<Stream, Tls>) {
      beginWaiting();
      stream_.async_shutdown([self = this->shared_from_this()](beast::error_code) {});
    }
  }

  /// Reads on for a moment where the request was not read to its end: a socket that is closed over unread data takes
  /// the answer with it.
  void discard() {
    beginWaiting(std::chrono::seconds(2));
    tcp().async_read_some(buffer_.prepare(kPiece),
                          [self = this->shared_from_this()](beast::error_code error, std::size_t size) {
                            self->left_ -= std::min(self->left_, size);
                            if (!error && self->left_ > 0) self->discard();
                          });
  }

  Stream stream_;
  using Clock = std::chrono::steady_clock;
  using Timer = asio::basic_waitable_timer<Clock, asio::wait_traits<Clock>, Strand>;
  Timer timer_;
  Timer watch_;
  Clock::time_point deadline_;
  bool watching_ = false;
  bool timedOut_ = false;
  Service& service_;
  beast::flat_buffer buffer_;
  std::optional<http::request_parser<http::string_body>> parser_;
  http::response<http::string_body> response_;
  std::optional<http::response_serializer<http::string_body>> serializer_;  // of a reply that goes on
  std::function<std::string()> more_;
  std::string piece_;
  std::size_t unread_ = 0;  // of this body, as service_ counts it
  bool inBody_ = false;
  bool readWhole_ = true;
  bool drop_ = false;
  std::size_t left_ = std::size_t{256} << 20;
};

}  // namespace

void serve(Socket socket, Service& service) {
  if (service.tls) {
    std::make_shared<Connection<Tls>>(std::move(socket), service, *service.tls)->start();
  } else {
    std::make_shared<Connection<Plain>>(std::move(socket), service)->start();
  }
}

}  // namespace zul::collector
