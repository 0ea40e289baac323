#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <iostream>
#include <mutex>
#include <thread>
#include <vector>

#include "AsioDispatcher.h"
#include "AsioUdpSockets.h"
#include "LinuxHostResolver.h"
#include "LoopbackTimeServer.h"
#include "Patience.h"

namespace zul::platform {
namespace {

using testing::Contains;
using testing::IsEmpty;
using Udp = boost::asio::ip::udp;

std::vector<std::byte> bytes(std::size_t size, int value) {
  return std::vector<std::byte>(size, static_cast<std::byte>(value));
}

/// What arrived, from any thread.
struct Mailbox {
  UdpSockets::Receive receiver() {
    return [this](auto datagram, const std::string& sender) {
      const std::lock_guard lock(mutex);
      sizes.push_back(datagram.size());
      lastSender = sender;
    };
  }
  std::size_t count() {
    const std::lock_guard lock(mutex);
    return sizes.size();
  }
  std::mutex mutex;
  std::vector<std::size_t> sizes;
  std::string lastSender;
};

/// A peer on loopback that is in the test's own hands.
struct Peer {
  explicit Peer(const char* address) : socket(context, Udp::endpoint(boost::asio::ip::make_address(address), 0)) {}
  std::uint16_t port() const { return socket.local_endpoint().port(); }
  std::size_t receive() {
    std::array<std::byte, 2048> buffer{};
    return socket.receive_from(boost::asio::buffer(buffer), sender);
  }
  void answer(std::size_t size) { socket.send_to(boost::asio::buffer(bytes(size, 7)), sender); }

  boost::asio::io_context context;
  Udp::socket socket;
  Udp::endpoint sender;
};

class UdpTest : public testing::Test {
 protected:
  AsioUdpSockets sockets{std::make_shared<AsioDispatcher>()};  // which nobody else keeps
  Mailbox mailbox;
};

TEST_F(UdpTest, DatagramsGoOutAndComeInOverBothProtocols) {
  for (const auto* address : {"127.0.0.3", "::1"}) {
    std::unique_ptr<Peer> peer;
    try {
      peer = std::make_unique<Peer>(address);
    } catch (const boost::system::system_error& error) {
      std::cout << address << " is left out: " << error.what() << '\n';
      continue;
    }
    mailbox.sizes.clear();
    const auto socket = sockets.open(mailbox.receiver());
    socket->send(address, peer->port(), bytes(48, 1));
    EXPECT_EQ(peer->receive(), 48U);
    // A burst, an empty one and one that is longer than is read.
    for (const std::size_t size : {48U, 0U, 1400U}) peer->answer(size);
    EXPECT_TRUE(test::eventually([&] { return mailbox.count() == 3; }));
    EXPECT_THAT(mailbox.sizes, testing::ElementsAre(48U, 0U, 512U));
    EXPECT_EQ(mailbox.lastSender, address);
    socket->send(address, peer->port(), bytes(9, 1));
    EXPECT_EQ(peer->receive(), 9U);
    peer->answer(1);
    EXPECT_TRUE(test::eventually([&] { return mailbox.count() == 4; }));
  }
}

TEST_F(UdpTest, WhatCannotBeSentIsLostAndTheNextOneTriesAgain) {
  Peer peer("127.0.0.1");
  const auto socket = sockets.open(mailbox.receiver());
  for (const auto* nowhere : {"no address", "", "127.0.0.1:123", "256.1.1.1"}) socket->send(nowhere, 9, bytes(48, 1));
  socket->send("127.0.0.1", 1, bytes(48, 1));                // nobody listens
  socket->send("127.0.0.1", peer.port(), bytes(70'000, 1));  // too long for a datagram
  socket->send("127.0.0.1", peer.port(), bytes(48, 1));
  EXPECT_EQ(peer.receive(), 48U);
}

TEST_F(UdpTest, AClosedSocketIsSilentAndAnOpenOneOutlivesItsDispatcher) {
  Peer peer("127.0.0.1");
  auto own = std::make_shared<AsioDispatcher>();
  auto others = std::make_unique<AsioUdpSockets>(own);
  auto closed = others->open(mailbox.receiver());
  auto open = others->open(mailbox.receiver());
  closed->send("127.0.0.1", peer.port(), bytes(48, 1));
  EXPECT_EQ(peer.receive(), 48U);
  closed.reset();
  peer.answer(48);
  open->send("127.0.0.1", peer.port(), bytes(48, 1));
  EXPECT_EQ(peer.receive(), 48U);
  peer.answer(48);
  EXPECT_TRUE(test::eventually([&] { return mailbox.count() > 0; }));
  EXPECT_EQ(mailbox.count(), 1U);

  own->stop();
  open->send("127.0.0.1", peer.port(), bytes(48, 1));
  others.reset();
  own.reset();
  open->send("127.0.0.1", peer.port(), bytes(48, 1));
  open.reset();
}

// Sockets that come and go on several threads while datagrams arrive.
TEST_F(UdpTest, ManyThreadsManySockets) {
  const test::LoopbackTimeServer server("127.0.0.1", 0, 0);
  const auto question = ntp::query({1, 2});
  std::vector<std::thread> threads;
  for (int n = 0; n < 4; ++n) {
    threads.emplace_back([&] {
      for (int round = 0; round < 50; ++round) {
        const auto socket = sockets.open(mailbox.receiver());
        for (int i = 0; i < 3; ++i) socket->send("127.0.0.1", server.port(), question);
        if (round % 10 == 0) test::eventually([&] { return mailbox.count() > 0; });
      }
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_GT(mailbox.count(), 0U);
}

TEST(LinuxHostResolver, FindsAddressesOrSaysWhyNot) {
  LinuxHostResolver resolver;
  EXPECT_THAT(resolver.resolve("localhost").addresses, testing::AnyOf(Contains("127.0.0.1"), Contains("::1")));
  EXPECT_THAT(resolver.resolve("127.0.0.9").addresses, testing::ElementsAre("127.0.0.9"));
  EXPECT_THAT(resolver.resolve("::1").addresses, testing::ElementsAre("::1"));
  // Neither is a name that could be asked for: nothing leaves this machine.
  for (const auto& nowhere : {std::string(300, 'x'), std::string()}) {
    const auto found = resolver.resolve(nowhere);
    EXPECT_THAT(found.addresses, IsEmpty()) << nowhere;
    EXPECT_NE(found.error, "") << nowhere;
  }
}

}  // namespace
}  // namespace zul::platform
