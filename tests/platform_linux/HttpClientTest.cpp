#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <future>
#include <memory>
#include <stdexcept>
#include <thread>

#include "CurlHttpClient.h"
#include "LoopbackServer.h"

namespace zul::platform {
namespace {

using test::LoopbackServer;
using test::WireRequest;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Not;

constexpr auto kLong = std::chrono::seconds(30);

// Loopback requests are not for a proxy that the environment may name.
[[maybe_unused]] const int noProxy = setenv("no_proxy", "*", 1);

HttpRequest get(const std::string& url) {
  HttpRequest request;
  request.url = url;
  return request;
}

HttpRequest post(const std::string& url, std::string body) {
  HttpRequest request = get(url);
  request.method = "POST";
  request.body = std::move(body);
  return request;
}

/// A text in pieces, and then its end, or a failure.
class TextSource final : public BodySource {
 public:
  TextSource(std::string text, bool isSmall, bool fails) : text_(std::move(text)), isSmall_(isSmall), fails_(fails) {}
  bool isSmall() const override { return isSmall_; }
  std::optional<std::size_t> read(std::span<char> buffer) override {
    const auto size = text_.copy(buffer.data(), std::min<std::size_t>(buffer.size(), 1000));
    text_.erase(0, size);
    if (size == 0 && fails_) return std::nullopt;
    return size;
  }

 private:
  std::string text_;
  const bool isSmall_;
  const bool fails_;
};

HttpRequest streamed(const std::string& url, std::string body, bool isSmall, bool fails = false) {
  HttpRequest request = get(url);
  request.method = "POST";
  request.bodySource = std::make_shared<TextSource>(std::move(body), isSmall, fails);
  return request;
}

std::future<HttpResponse> send(HttpClient& client, HttpRequest request) {
  const auto promise = std::make_shared<std::promise<HttpResponse>>();
  client.send(std::move(request), [promise](HttpResponse response) { promise->set_value(std::move(response)); });
  return promise->get_future();
}

HttpResponse await(std::future<HttpResponse> answer) {
  if (answer.wait_for(kLong) == std::future_status::ready) return answer.get();
  return {.error = "the completion never came", .status = 0, .body = {}};
}

/// Blocks the server's handler until opened.
class Gate {
 public:
  void open() { promise_.set_value(); }
  void pass() const { future_.wait_for(kLong); }

 private:
  std::promise<void> promise_;
  const std::shared_future<void> future_ = promise_.get_future().share();
};

TEST(CurlHttpClient, SendsWhatTheRequestSaysAndNoMore) {
  LoopbackServer server([](const WireRequest&) { return LoopbackServer::answer("fine"); });
  CurlHttpClient client;
  const std::string large(3 << 20, 'x');
  const auto exchange = [&](HttpRequest request) {
    request.headers = {{"X-Zed", "1"}, {"Content-Encoding", "gzip"}, {"X-Empty", ""}, {"A-Header", "2"}};
    const HttpResponse response = client.fetch(std::move(request));
    EXPECT_EQ(response.error, "");
    EXPECT_EQ(response.status, 200);
    EXPECT_EQ(response.body, "fine");
    return server.requests().back();
  };

  WireRequest sent = exchange(post(server.url("/sized"), large));
  EXPECT_EQ(sent.line, "POST /sized HTTP/1.1");
  EXPECT_THAT(sent.names,
              ElementsAre("Host", "Accept", "X-Zed", "Content-Encoding", "X-Empty", "A-Header", "Content-Length"));
  EXPECT_TRUE(sent.body == large);

  for (const bool isSmall : {false, true}) {
    for (const auto& body : {large, std::string("little"), std::string()}) {
      sent = exchange(streamed(server.url("/streamed"), body, isSmall));
      EXPECT_EQ(sent.line, "POST /streamed HTTP/1.1");
      EXPECT_EQ(sent.header("Transfer-Encoding"), "chunked");
      EXPECT_EQ(sent.header("Content-Length") + sent.header("Content-Type") + sent.header("Expect"), "");
      EXPECT_TRUE(sent.body == body);
    }
    EXPECT_EQ(await(send(client, streamed(server.url("/broken"), large, isSmall, true))).error,
              "the body could not be made");
  }

  HttpRequest bare = post(server.url("/bare"), "");
  bare.body.reset();
  EXPECT_EQ(exchange(std::move(bare)).header("Content-Length"), "0");

  HttpRequest put = post(server.url("/put"), "text");
  put.method = "PUT";
  sent = exchange(std::move(put));
  EXPECT_EQ(sent.line, "PUT /put HTTP/1.1");
  EXPECT_EQ(sent.body, "text");

  sent = exchange(get(server.url("/get?a=%20b")));
  EXPECT_EQ(sent.line, "GET /get?a=%20b HTTP/1.1");
  EXPECT_THAT(sent.names, ElementsAre("Host", "Accept", "X-Zed", "Content-Encoding", "X-Empty", "A-Header"));
}

TEST(CurlHttpClient, GivesErrorStatusesAndLimitsAnswers) {
  LoopbackServer server([](const WireRequest& request) {
    const std::size_t size = std::stoul(request.line.substr(request.line.find('/') + 1));
    if (size == 0) return LoopbackServer::answer("no such thing", {}, 404);
    // The one with the odd size ends with its connection, so that its length shows only at the end.
    if (size % 2 == 0) return LoopbackServer::answer(std::string(size, 'b'));
    return "HTTP/1.1 200 OK\r\nConnection: close\r\n\r\n" + std::string(size, 'b');
  });
  CurlHttpClient client;
  const HttpResponse missing = client.fetch(get(server.url("/0")));
  EXPECT_TRUE(missing.ok());
  EXPECT_EQ(missing.status, 404);
  EXPECT_EQ(missing.body, "no such thing");

  constexpr std::size_t kMost = HttpClient::kMaxBody;
  EXPECT_EQ(client.fetch(get(server.url("/" + std::to_string(kMost)))).body.value_or("").size(), kMost);
  for (const std::size_t size : {kMost + 1, kMost + 2}) {
    const HttpResponse response = client.fetch(get(server.url("/" + std::to_string(size))));
    EXPECT_EQ(response.error, "answer larger than 8 MiB");
    EXPECT_EQ(response.status, 0);
    EXPECT_FALSE(response.body);
  }
}

TEST(CurlHttpClient, RefusesWhatIsNoWebRequest) {
  LoopbackServer server([](const WireRequest&) { return LoopbackServer::answer(""); });
  CurlHttpClient client;
  for (const char* url :
       {"", "http://", "ftp://127.0.0.1/", "file:///etc/hostname", "127.0.0.1/", "http://127.0.0.1/a b",
        "http://127.0.0.1/\r\nX: 1", "http://[::1", "http://127.0.0.1:99999/"}) {
    const HttpResponse response = await(send(client, get(url)));
    EXPECT_NE(response.error, "") << url;
    EXPECT_EQ(response.status, 0) << url;
  }
  for (const auto& [name, value] : std::vector<std::pair<std::string, std::string>>{{"X", "1\r\nInjected: 2"},
                                                                                    {"X\nInjected", "1"},
                                                                                    {"X: 1\r\nY", "1"},
                                                                                    {"", "1"},
                                                                                    {"X", std::string("\0", 1)}}) {
    HttpRequest request = get(server.url("/"));
    request.headers.emplace_back(name, value);
    EXPECT_THAT(await(send(client, std::move(request))).error, HasSubstr("not a header"));
  }
  HttpRequest request = get(server.url("/"));
  request.method = "GET / HTTP/1.1\r\nX:";
  EXPECT_NE(client.fetch(std::move(request)).error, "");
  EXPECT_TRUE(server.requests().empty());
}

TEST(CurlHttpClient, EndsWhenNobodyAnswers) {
  Gate gate;
  CurlHttpClient client;
  std::string refused;
  {
    LoopbackServer server([&](const WireRequest&) {
      gate.pass();
      return std::string();
    });
    refused = server.url("/");
    HttpRequest request = get(refused);
    request.timeout = 0.05;
    EXPECT_NE(await(send(client, request)).error, "");
    EXPECT_NE(client.fetch(request).error, "");
    gate.open();
  }
  EXPECT_NE(client.fetch(get(refused)).error, "");
}

TEST(CurlHttpClient, WaitsForAsLongAsBytesMove) {
  using namespace std::chrono_literals;
  constexpr int kRoom = 65536;
  test::LoopbackPort port;
  setsockopt(port.socket.get(), SOL_SOCKET, SO_RCVBUF, &kRoom, sizeof kRoom);
  port.listen();
  const auto accepted = [&] {
    return test::Descriptor(::accept4(port.socket.get(), nullptr, nullptr, SOCK_CLOEXEC), "connection");
  };
  CurlHttpClient client(600ms);
  const std::string url = "http://" + port.host() + "/";

  // Header and body come byte by byte, and together take several times the patience.
  auto answer = send(client, get(url));
  {
    const test::Descriptor connection = accepted();
    EXPECT_TRUE(sendAll(connection, "HTTP/1.1 200 OK\r\nContent-Length: 6\r\n"));
    for (const char byte : std::string("A: b\r\nC: d\r\n\r\nslowly")) {
      std::this_thread::sleep_for(70ms);
      EXPECT_TRUE(sendAll(connection, std::string(1, byte)));
    }
    const HttpResponse response = await(std::move(answer));
    EXPECT_EQ(response.error, "");
    EXPECT_EQ(response.body, "slowly");
  }

  // A body is taken in slowly; an answer never comes.
  std::string body(2 << 20, 'x');
  const std::size_t size = body.size();
  answer = send(client, post(url, std::move(body)));
  const test::Descriptor connection = accepted();
  std::vector<char> part(100'000);
  for (std::size_t taken = 0; taken < size;) {
    std::this_thread::sleep_for(50ms);
    const ssize_t count = ::recv(connection.get(), part.data(), part.size(), 0);
    ASSERT_GT(count, 0);
    taken += static_cast<std::size_t>(count);
  }
  EXPECT_EQ(answer.wait_for(50ms), std::future_status::timeout);
  EXPECT_THAT(await(std::move(answer)).error, HasSubstr("imeout"));
}

TEST(CurlHttpClient, KeepsCookiesForThoseWhoWantThem) {
  LoopbackServer server([](const WireRequest& request) {
    const std::string name = request.line.find("/private") == std::string::npos ? "shared" : "private";
    return LoopbackServer::answer("", "Set-Cookie: " + name + "=1; Path=/\r\n");
  });
  CurlHttpClient client;
  HttpRequest without = get(server.url("/private"));
  without.cookies = false;
  const auto cookieOf = [&](const HttpRequest& request) {
    EXPECT_TRUE(client.fetch(request).ok());
    return server.requests().back().header("Cookie");
  };
  EXPECT_EQ(cookieOf(get(server.url("/"))), "");
  EXPECT_EQ(cookieOf(without), "");
  EXPECT_EQ(cookieOf(get(server.url("/"))), "shared=1");
  EXPECT_EQ(cookieOf(without), "");
}

TEST(CurlHttpClient, FollowsRedirectsOfGetAlone) {
  LoopbackServer server([](const WireRequest& request) {
    if (request.line.find("/end") != std::string::npos) return LoopbackServer::answer("arrived");
    std::string target = "/end";
    if (request.line.find("/loop") != std::string::npos) target = "/loop";
    if (request.line.find("/file") != std::string::npos) target = "file:///etc/hostname";
    return LoopbackServer::answer("moved", "Location: " + target + "\r\n", 302);
  });
  CurlHttpClient client;
  EXPECT_EQ(client.fetch(get(server.url("/start"))).body, "arrived");
  EXPECT_EQ(client.fetch(post(server.url("/start"), "body")).status, 302);
  EXPECT_NE(client.fetch(get(server.url("/file"))).error, "");
  const std::size_t before = server.requests().size();
  EXPECT_NE(client.fetch(get(server.url("/loop"))).error, "");
  EXPECT_EQ(server.requests().size(), before + 11);
}

// An upload that went out again by itself would be counted twice.
TEST(CurlHttpClient, SendsAgainWhenAKeptConnectionIsGoneButNoUpload) {
  std::atomic<bool> closes = false;
  LoopbackServer server(
      [&](const WireRequest&) { return closes.exchange(false) ? std::string() : LoopbackServer::answer(""); });
  CurlHttpClient client;
  for (int i = 0; i < 5; ++i) {
    EXPECT_TRUE(client.fetch(post(server.url("/"), "small")).ok());
    EXPECT_TRUE(client.fetch(streamed(server.url("/"), "small", i % 2 == 0)).ok());
  }
  EXPECT_EQ(server.connections(), 1u);

  const auto requestsOf = [&](const HttpRequest& request, bool answered) {
    EXPECT_TRUE(client.fetch(get(server.url("/"))).ok());
    const std::size_t before = server.requests().size();
    closes = true;
    const HttpResponse response = client.fetch(request);
    EXPECT_EQ(response.error, answered ? "" : "connection closed without an answer");
    return server.requests().size() - before;
  };
  EXPECT_EQ(requestsOf(get(server.url("/")), true), 2u);
  for (const auto& body : {std::string(300'000, 'r'), std::string()}) {
    EXPECT_EQ(requestsOf(post(server.url("/"), body), false), 1u);
    for (const bool isSmall : {false, true}) {
      EXPECT_EQ(requestsOf(streamed(server.url("/"), body, isSmall), false), 1u);
    }
  }
}

TEST(CurlHttpClient, OpensAtMostSixConnectionsToAHost) {
  Gate gate;
  LoopbackServer server([&](const WireRequest&) {
    gate.pass();
    return LoopbackServer::answer("");
  });
  CurlHttpClient client;
  std::vector<std::future<HttpResponse>> answers;
  for (int i = 0; i < 20; ++i) answers.push_back(send(client, get(server.url("/"))));
  const auto end = std::chrono::steady_clock::now() + kLong;
  while (server.requests().size() < 6 && std::chrono::steady_clock::now() < end) std::this_thread::yield();
  gate.open();
  for (auto& answer : answers) EXPECT_EQ(await(std::move(answer)).error, "");
  EXPECT_EQ(server.connections(), 6u);
}

TEST(CurlHttpClient, CompletesEachRequestOfManyThreadsOnce) {
  constexpr int kThreads = 4;
  constexpr int kRequests = 50;
  std::vector<std::atomic<int>> completions(kThreads * kRequests);
  std::atomic<int> right = 0;
  std::promise<void> all;
  std::atomic<int> left = kThreads * kRequests;
  LoopbackServer server([](const WireRequest& request) { return LoopbackServer::answer(request.body); });
  CurlHttpClient client;
  std::vector<std::thread> threads;
  for (int thread = 0; thread < kThreads; ++thread) {
    threads.emplace_back([&, thread] {
      for (int i = thread * kRequests; i < (thread + 1) * kRequests; ++i) {
        client.send(post(server.url("/"), std::to_string(i)), [&, i](const HttpResponse& response) {
          right += response.body == std::to_string(i) ? 1 : 0;
          ++completions[i];
          if (--left == 0) all.set_value();
          throw std::runtime_error("a completion's own affair");
        });
      }
    });
  }
  for (auto& thread : threads) thread.join();
  ASSERT_EQ(all.get_future().wait_for(kLong), std::future_status::ready);
  EXPECT_EQ(right, kThreads * kRequests);
  for (const auto& count : completions) EXPECT_EQ(count, 1);
}

TEST(CurlHttpClient, EndsEverythingWhenStopped) {
  Gate gate;
  LoopbackServer server([&](const WireRequest&) {
    gate.pass();
    return std::string();
  });
  CurlHttpClient client;
  std::vector<std::future<HttpResponse>> open;
  for (int i = 0; i < 10; ++i) open.push_back(send(client, get(server.url("/"))));
  auto waiter = std::async(std::launch::async, [&] { return client.fetch(get(server.url("/"))); });
  const auto end = std::chrono::steady_clock::now() + kLong;
  while (server.requests().empty() && std::chrono::steady_clock::now() < end) std::this_thread::yield();
  client.stop();
  client.stop();
  for (auto& answer : open) EXPECT_EQ(await(std::move(answer)).error, "stopped");
  EXPECT_EQ(await(std::move(waiter)).error, "stopped");

  std::thread::id completedOn;
  client.send(get(server.url("/")), [&](const HttpResponse& response) {
    completedOn = std::this_thread::get_id();
    EXPECT_EQ(response.error, "stopped");
  });
  EXPECT_EQ(completedOn, std::this_thread::get_id());
  gate.open();
}

TEST(CurlHttpClient, SurvivesItsOwnEndInACompletion) {
  LoopbackServer server([](const WireRequest&) { return LoopbackServer::answer(""); });
  auto client = std::make_shared<CurlHttpClient>();
  std::promise<std::string> inner;
  CurlHttpClient& use = *client;
  use.send(get(server.url("/")), [&, client = std::move(client)](const HttpResponse&) mutable {
    const std::string error = client->fetch(get(server.url("/"))).error;
    client.reset();
    inner.set_value(error);
  });
  auto error = inner.get_future();
  ASSERT_EQ(error.wait_for(kLong), std::future_status::ready);
  EXPECT_THAT(error.get(), HasSubstr("own thread"));
}

}  // namespace
}  // namespace zul::platform
