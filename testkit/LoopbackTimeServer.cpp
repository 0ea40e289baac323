#include "LoopbackTimeServer.h"

#include <boost/asio/buffer.hpp>

#include "LinuxClock.h"

namespace zul::test {

namespace {

using Udp = boost::asio::ip::udp;

}  // namespace

LoopbackTimeServer::LoopbackTimeServer(const std::string& address, std::uint16_t port, double ahead,
                                       const TimeServer& server)
    : ahead_(ahead),
      server_(server),
      socket_(context_, Udp::endpoint(boost::asio::ip::make_address(address), port)),
      port_(socket_.local_endpoint().port()) {
  serve();
  thread_ = std::thread([this] { context_.run(); });
}

LoopbackTimeServer::~LoopbackTimeServer() {
  context_.stop();
  thread_.join();
}

void LoopbackTimeServer::serve() {
  socket_.async_receive_from(boost::asio::buffer(question_), asker_, [this](auto, std::size_t size) {
    boost::system::error_code lost;
    const double now = platform::LinuxClock().now() + ahead_;
    for (const auto& answer : server_.answer(std::span(question_).first(size), now)) {
      socket_.send_to(boost::asio::buffer(answer), asker_, 0, lost);
    }
    serve();
  });
}

}  // namespace zul::test
