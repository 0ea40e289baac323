// The server beneath: what it survives, TLS, and going down and up again.

#include <curl/curl.h>
#include <gmock/gmock.h>
#include <sys/resource.h>

#include <filesystem>
#include <iterator>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "Child.h"
#include "CollectorClient.h"
#include "RunningCollector.h"
#include "TestCertificate.h"

namespace zul::collector {
namespace {

using test::RunningCollector;
using testing::HasSubstr;

TEST(ServerTest, GarbageIsRefusedAndSurvived) {
  RunningCollector collector;
  const auto good = goodRequest(Endpoint::token);
  const std::string head = "POST /zul/errorRcv.do HTTP/1.1\r\nHost: c\r\n";
  const struct {
    std::string bytes;
    int status;  ///< 0: any answer or none
  } cases[] = {
      {"nonsense\r\n\r\n", 400},
      {std::string("\x16\x03\x01\x02\x00\x01\x00\x01\xfc\x03\x03\n\n", 13), 400},
      {"GET / HTTP/9.9\r\n\r\n", 400},
      {"TRACE / HTTP/1.1\r\n\r\n", 404},
      {"BREW /lookup?bundleId=a HTTP/1.1\r\n\r\n", 400},
      {"GET /lookup?bundleId=a b HTTP/1.1\r\n\r\n", 400},
      {"GET /" + std::string(10'000, 'a') + " HTTP/1.1\r\n\r\n", 400},
      {"GET /" + std::string(8'000, 'a') + " HTTP/1.1\r\n\r\n", 404},
      {"GET /%zz%00%ff?%=&&= HTTP/1.1\r\n\r\n", 404},
      {"GET /lookup?bundleId=a HTTP/1.1\r\nRange: bytes=5-7\r\n\r\n", 200},
      {"GET / HTTP/1.1\r\nX: " + std::string(1'000'000, 'a'), 0},
      {std::string(1'000'000, 'a'), 0},
      {std::string(1'000, '\0'), 0},
      {"\r\n", 0},
      {"", 0},
      {head + "Content-Length: 99999999999999999999\r\n\r\n", 400},
      {head + "Content-Length: 16777217\r\n\r\n", 413},
      {head + "Content-Length: ten\r\n\r\n", 400},
      {head + "Content-Length: -1\r\n\r\n", 400},
      {head + "Content-Length: 10\r\n\r\n{}", 400},
      {head + "Transfer-Encoding: chunked\r\n\r\nxyz\r\n", 400},
      {"GET /lookup?bundleId=a HTTP/1.1\r\nContent-Length: 18\r\n\r\nGET / HTTP/1.1\r\n\r\n", 400},
      {head + "Content-Type: multipart/form-data; boundary=b\r\nContent-Length: 5\r\n\r\n--b--", 400},
      {head + "Transfer-Encoding: chunked\r\n\r\n4400000\r\n" + std::string(0x4400000, 'a') + "\r\n0\r\n\r\n", 413},
  };
  for (const auto& [bytes, status] : cases) {
    SCOPED_TRACE(bytes.substr(0, 60));
    const auto before = collector.counts().total;
    CollectorClient client(collector.port());
    client.send(bytes);
    client.endSending();
    const auto reply = client.receive();
    if (status) {
      ASSERT_TRUE(reply);
      EXPECT_EQ(reply->status, status);
      EXPECT_EQ(collector.counts().total, before + 1);
      EXPECT_EQ(collector.requests().back()->good(), status == 200);
    }
    ASSERT_EQ(ask(collector.port(), good)->status, 200);
  }
}

TEST(ServerTest, OneConnectionCarriesManyRequests) {
  RunningCollector collector;
  CollectorClient client(collector.port());
  std::string many;
  for (int i = 0; i < 50; ++i) many += goodRequest(i % 2 ? Endpoint::upload : Endpoint::token).text();
  ASSERT_TRUE(client.send(many));
  for (int i = 0; i < 50; ++i) EXPECT_EQ(client.receive()->status, 200);
  EXPECT_EQ(collector.counts().good, 50u);

  auto patient = goodRequest(Endpoint::errorlog);
  patient.headers.emplace("Expect", "100-continue");
  patient.headers.emplace("Content-Length", std::to_string(patient.body.size()));
  const auto body = std::exchange(patient.body, "");
  EXPECT_EQ(client.ask(patient)->status, 100);
  ASSERT_TRUE(client.send(body));
  EXPECT_EQ(client.receive()->status, 200);
}

TEST(ServerTest, GoesDownAndComesUpOnTheSamePort) {
  DevCollector collector;
  EXPECT_EQ(collector.port(), 0);
  collector.stop();
  for (std::uint64_t round = 1; round <= 20; ++round) {
    collector.start();
    collector.start();
    const int port = collector.port();
    CollectorClient kept(port);
    CollectorClient idle(port);
    CollectorClient halfway(port);
    halfway.send("POST /zul/errorRcv.do HTTP/1.1\r\nContent-Le");
    ASSERT_EQ(kept.ask(goodRequest(Endpoint::token))->status, 200);
    test::Child heir("/bin/sh", {"-c", "echo begun; exec sleep 1000"});  // inherits nothing
    ASSERT_TRUE(heir.readUpTo("begun", patience));
    collector.stop();
    EXPECT_FALSE(kept.receive());
    EXPECT_FALSE(CollectorClient(port).connected());
    EXPECT_EQ(collector.port(), port);
    EXPECT_EQ(collector.counts().good, round);
  }
}

TEST(ServerTest, StartSaysWhyItCannot) {
  const RunningCollector first;
  const std::pair<CollectorOptions, std::string> cases[] = {
      {{.port = first.port()}, "Address already in use"},
      {{.host = "not a host"}, "cannot listen on not a host:0: "},
      {{.certFile = "a"}, "needs its key"},
      {{.keyFile = "a"}, "needs its certificate"},
      {{.certFile = "/nowhere", .keyFile = "/nowhere"}, "certificate in /nowhere: No such file or directory"},
  };
  for (const auto& [options, reason] : cases) {
    DevCollector collector(options);
    try {
      collector.start();
      ADD_FAILURE() << reason;
    } catch (const std::runtime_error& error) {
      EXPECT_THAT(error.what(), HasSubstr(reason));
    }
  }
}

// Whatever the connections do or wait for, the next client is served, and the threads are few.
TEST(ServerTest, ManyConnectionsCostNoThread) {
  rlimit files{};
  getrlimit(RLIMIT_NOFILE, &files);
  files.rlim_cur = std::min<rlim_t>(files.rlim_max, 4096);
  setrlimit(RLIMIT_NOFILE, &files);
  RunningCollector collector;
  collector.setAnswers(R"({"upload":[{"delay":3600000}]})");
  std::vector<std::unique_ptr<CollectorClient>> clients;
  for (int i = 0; i < 600; ++i) {
    clients.push_back(std::make_unique<CollectorClient>(collector.port()));
    if (i % 3 == 1) clients.back()->send(goodRequest(Endpoint::upload).text());
    if (i % 3 == 2) clients.back()->send("POST /zul/errorRcv.do HTTP/1.1\r\nContent-Le");
  }
  EXPECT_TRUE(collector.waitFor(Endpoint::upload, 200, patience));
  ASSERT_EQ(ask(collector.port(), goodRequest(Endpoint::token))->status, 200);
  const std::filesystem::directory_iterator threads("/proc/self/task");
  EXPECT_LT(std::distance(begin(threads), end(threads)), 20);
}

TEST(ServerTest, BodiesThatComeInTogetherAreBounded) {
  RunningCollector collector;
  const std::string begun =
      "POST /zul/errorRcv.do HTTP/1.1\r\nHost: c\r\nContent-Length: 16777216\r\n\r\n" + std::string(16'000'000, 'x');
  const auto refused = [](const auto& request) { return request.problem == "too much is being sent at once"; };
  {
    std::vector<std::unique_ptr<CollectorClient>> clients;
    for (int i = 0; i < 8; ++i) {
      clients.push_back(std::make_unique<CollectorClient>(collector.port()));
      ASSERT_TRUE(clients.back()->send(begun));
    }
    CollectorClient last(collector.port());
    last.send(begun);
    EXPECT_EQ(last.receive()->status, 503);
    EXPECT_TRUE(collector.waitFor(refused, patience));
  }
  EXPECT_TRUE(collector.waitFor(9, patience));  // the others end early
  auto large = goodRequest(Endpoint::errorlog);
  large.body = std::string(16'000'000, 'x');
  EXPECT_EQ(ask(collector.port(), large)->status, 400);
}

/// Speaks HTTPS, over one connection as long as that lasts.
class SecureClient {
 public:
  SecureClient(const std::string& url, const std::string& caFile) : url_(url), curl_(curl_easy_init()) {
    curl_easy_setopt(curl_.get(), CURLOPT_CAINFO, caFile.c_str());
    curl_easy_setopt(curl_.get(), CURLOPT_TIMEOUT, static_cast<long>(patience.count()));
    curl_easy_setopt(curl_.get(), CURLOPT_HTTP_VERSION, CURL_HTTP_VERSION_1_1);
    curl_easy_setopt(
        curl_.get(), CURLOPT_WRITEFUNCTION,
        +[](char*, std::size_t size, std::size_t count, void*) { return size * count; });
  }

  /// The status of the answer to a POST; 0 when there is none.
  long ask(const WireRequest& request) {
    curl_slist* headers = nullptr;
    for (const auto& [name, value] : request.headers)
      headers = curl_slist_append(headers, (name + ": " + value).c_str());
    curl_easy_setopt(curl_.get(), CURLOPT_URL, (url_ + request.target).c_str());
    curl_easy_setopt(curl_.get(), CURLOPT_HTTPHEADER, headers);
    curl_easy_setopt(curl_.get(), CURLOPT_POSTFIELDSIZE, static_cast<long>(request.body.size()));
    curl_easy_setopt(curl_.get(), CURLOPT_COPYPOSTFIELDS, request.body.data());
    const auto result = curl_easy_perform(curl_.get());
    curl_slist_free_all(headers);
    long opened = 0;
    curl_easy_getinfo(curl_.get(), CURLINFO_NUM_CONNECTS, &opened);
    connections_ += opened;
    long status = 0;
    curl_easy_getinfo(curl_.get(), CURLINFO_RESPONSE_CODE, &status);
    return result == CURLE_OK ? status : 0;
  }

  long connections() const { return connections_; }

 private:
  struct Cleanup {
    void operator()(CURL* curl) const { curl_easy_cleanup(curl); }
  };
  const std::string url_;
  const std::unique_ptr<CURL, Cleanup> curl_;
  long connections_ = 0;
};

TEST(ServerTest, SpeaksTls) {
  const test::TestCertificate files;
  RunningCollector collector(files);
  EXPECT_THAT(collector.baseUrl(), HasSubstr("https://127.0.0.1:"));

  EXPECT_FALSE(ask(collector.port(), goodRequest(Endpoint::token)));  // not with plain HTTP
  SecureClient client(collector.secureUrl(), files.certFile);
  for (int i = 0; i < 3; ++i) EXPECT_EQ(client.ask(goodRequest(Endpoint::upload)), 200);
  EXPECT_EQ(client.connections(), 1);
  auto endless = goodRequest(Endpoint::errorlog);
  endless.body = std::string(20'000'000, 'x');
  EXPECT_EQ(client.ask(endless), 413);
  collector.setAnswers(R"({"upload":[{"close":true}]})");
  EXPECT_EQ(client.ask(goodRequest(Endpoint::upload)), 0);
  EXPECT_EQ(collector.counts().good, 4u);

  CollectorClient silent(collector.port());  // never begins its handshake, and must not hold up the stop
  collector.stop();
}

}  // namespace
}  // namespace zul::collector
