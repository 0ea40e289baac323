// What the collector takes for a good request and what for a bad one.

#include <gmock/gmock.h>

#include <boost/json.hpp>

#include "CollectorClient.h"
#include "Json.h"
#include "RunningCollector.h"

namespace zul::collector {
namespace {

using testing::HasSubstr;

struct ContractTest : testing::Test {
  test::RunningCollector collector;
};

TEST_F(ContractTest, GoodRequestsGetTheUsualAnswers) {
  const std::string accepted = R"({"code":"RES001","msg":"OK"})";
  const struct {
    Endpoint endpoint;
    std::string answer;
    std::string body;
  } cases[] = {
      {Endpoint::token, R"({"token":"development-token"})", "null"},
      {Endpoint::upload, accepted, R"([{"SESSION":{"ltvt":1,"phone":"아이폰 & co"}}])"},
      {Endpoint::errorlog, accepted, R"({"_qzno":102,"errlog":"network error"})"},
      {Endpoint::pushclick, accepted, "null"},
      {Endpoint::fingerprint, "{}", R"({"_qzno":102,"advtId":"","isNew":true})"},
      {Endpoint::appstore, R"({"resultCount":1,"results":[{"trackId":634826493}]})", "null"},
  };
  CollectorClient client(collector.port());  // all over one connection
  for (const auto& [endpoint, answer, body] : cases) {
    SCOPED_TRACE(name(endpoint));
    const auto request = goodRequest(endpoint);
    const auto reply = client.ask(request);
    ASSERT_TRUE(reply);
    EXPECT_EQ(reply->status, 200);
    EXPECT_EQ(reply->body, answer);
    const auto recorded = collector.requests().back();
    EXPECT_EQ(recorded->problem, "");
    EXPECT_EQ(recorded->endpoint, endpoint);
    EXPECT_EQ(recorded->path + (recorded->query.empty() ? "" : "?") + recorded->query, request.target);
    EXPECT_EQ(recorded->rawSize, request.body.size());
    EXPECT_EQ(json::text(recorded->body()), body);
  }
}

TEST_F(ContractTest, ToleratesWhatTheContractLeavesOpen) {
  auto webView = goodRequest(Endpoint::fingerprint);
  webView.headers.erase("User-Agent");
  webView.headers.insert({{"User-Agent", "Mozilla/5.0 (iPhone)"}, {"Cookie", "a=b"}});
  auto noToken = goodRequest(Endpoint::upload);
  noToken.headers.erase("authToken");
  auto form = goodRequest(Endpoint::errorlog);
  form.headers.emplace("Content-Type", "application/x-www-form-urlencoded");
  form.body = R"({"_qzno":102,"errlog":")" + std::string(20'000, 'x') + R"("})";
  auto chunked = goodRequest(Endpoint::upload);
  chunked.headers.emplace("Transfer-Encoding", "chunked");
  std::string pieces;
  for (const char c : chunked.body) pieces += std::string("1\r\n") + c + "\r\n";
  chunked.body = pieces + "0\r\n\r\n";
  auto noLength = goodRequest(Endpoint::pushclick);
  noLength.headers.emplace("Connection", "close");
  auto noLengthText = noLength.text();
  noLengthText.erase(noLengthText.find("Content-Length"), sizeof "Content-Length: 0\r\n" - 1);

  CollectorClient client(collector.port());
  for (const auto& text : {webView.text(), noToken.text(), form.text(), chunked.text(), noLengthText}) {
    ASSERT_TRUE(client.send(text));
    const auto reply = client.receive();
    ASSERT_TRUE(reply);
    EXPECT_EQ(reply->status, 200) << reply->body;
  }
}

struct Fault {
  const char* what;
  Endpoint endpoint;
  void (*spoil)(WireRequest&);
  const char* reason;
};

void set(WireRequest& request, const char* name, const char* value) {
  request.headers.erase(name);
  if (value) request.headers.emplace(name, value);
}

void replace(std::string& text, std::string_view from, std::string_view to) {
  text.replace(text.find(from), from.size(), to);
}

std::string zeros(std::size_t count) {
  std::string text;
  for (std::size_t at = 0; at < count; ++at) text += ",0";
  return text;
}

std::string manyPayloads(std::size_t size, std::size_t each) {
  std::string text = "[{\"a\":1}";
  while (text.size() < size) text += ",{\"a\":\"" + std::string(each, ' ') + "\"}";
  return text + "]";
}

const Fault faults[] = {
    {"method", Endpoint::token, [](auto& r) { r.method = "POST"; }, "the method is POST, not GET"},
    {"no auth", Endpoint::upload, [](auto& r) { set(r, "authType", nullptr); }, "no authType"},
    {"other word", Endpoint::token, [](auto& r) { set(r, "authType", "PjhPhqxo8cd84LGpyhkIZA=="); }, "for TOKEN"},
    {"token too early", Endpoint::token, [](auto& r) { set(r, "authToken", "t"); }, "should be no authToken"},
    {"fingerprint token", Endpoint::fingerprint, [](auto& r) { set(r, "authToken", "t"); }, "should be no authToken"},
    {"no agent", Endpoint::errorlog, [](auto& r) { set(r, "User-Agent", nullptr); }, "no User-Agent"},
    {"agent version", Endpoint::upload, [](auto& r) { set(r, "User-Agent", "ZUL/1.1/a/b"); }, "does not begin with"},
    {"agent parts", Endpoint::fingerprint, [](auto& r) { set(r, "User-Agent", "ZUL/1.1.5/a"); },
     "a model and a system"},
    {"service number", Endpoint::token, [](auto& r) { replace(r.target, "102", "1x"); }, "_qzno is not a decimal"},
    {"package", Endpoint::token, [](auto& r) { replace(r.target, "com.shop.app", ""); }, "_wPkg is empty"},
    {"query order", Endpoint::token, [](auto& r) { r.target = "/token/v1/acsTokenRps.do?_wPkg=a&_qzno=1"; }, "belongs"},
    {"query end", Endpoint::token, [](auto& r) { r.target += "&more=1"; }, "more than it should"},
    {"no query", Endpoint::token, [](auto& r) { replace(r.target, "&_wPkg=com.shop.app", ""); }, "has no _wPkg"},
    {"click time", Endpoint::pushclick, [](auto& r) { r.target += "&arrivalTime=1"; }, "more than it should"},
    {"profile", Endpoint::pushclick, [](auto& r) { replace(r.target, "=7", "=(null)"); }, "profileNo is not"},
    {"platform", Endpoint::pushclick, [](auto& r) { replace(r.target, "IOS", "ios"); }, "platform is not IOS"},
    {"push token", Endpoint::pushclick, [](auto& r) { replace(r.target, "%2F", "%zz"); }, "pushToken is not"},
    {"push body", Endpoint::pushclick, [](auto& r) { r.body = "{}"; }, "should be no body"},
    {"log type", Endpoint::errorlog, [](auto& r) { set(r, "Content-Type", "application/json"); }, "no Content-Type"},
    {"log empty", Endpoint::errorlog, [](auto& r) { r.body.clear(); }, "no body"},
    {"log array", Endpoint::errorlog, [](auto& r) { r.body = "[]"; }, "not a JSON object"},
    {"log text", Endpoint::errorlog, [](auto& r) { r.body = R"({"_qzno":1,"errlog":5})"; }, "errlog is missing or no"},
    {"log number", Endpoint::errorlog, [](auto& r) { r.body = R"({"_qzno":"1","errlog":"a"})"; },
     "_qzno is missing or no"},
    {"print number", Endpoint::fingerprint, [](auto& r) { r.body = "{}"; }, "_qzno is missing or no"},
    {"look-up", Endpoint::appstore, [](auto& r) { r.target = "/lookup?bundleId="; }, "bundleId is empty"},
    {"type", Endpoint::upload, [](auto& r) { set(r, "Content-Type", "application/json"); }, "octet-stream"},
    {"cookie", Endpoint::upload, [](auto& r) { set(r, "Cookie", "a=b"); }, "no Cookie"},
    {"coding", Endpoint::upload, [](auto& r) { set(r, "Content-Encoding", "gzip"); }, "no Content-Encoding"},
    {"nothing", Endpoint::upload, [](auto& r) { r.body.clear(); }, "no body"},
    {"plain", Endpoint::upload, [](auto& r) { r.body = "[{\"a\":1}]"; }, "broken zlib stream"},
    {"gzip", Endpoint::upload, [](auto& r) { r.body = "\x1f\x8b\x08"; }, "gzip"},
    {"cut short", Endpoint::upload, [](auto& r) { r.body.pop_back(); }, "ends early"},
    {"damaged", Endpoint::upload, [](auto& r) { r.body.back() ^= 1; }, "incorrect data check"},
    {"trailing", Endpoint::upload, [](auto& r) { r.body += "x"; }, "behind the zlib stream"},
    {"bomb", Endpoint::upload, [](auto& r) { r.body = uploadBodyOf(manyPayloads(23'000'000, 100'000)); },
     "more than 67108864"},
    {"too many", Endpoint::upload, [](auto& r) { r.body = uploadBodyOf(manyPayloads(1'000'000, 1)); },
     "more than 50000 payloads"},
    {"large payload", Endpoint::upload, [](auto& r) { r.body = uploadBodyOf("[{\"a\":[0" + zeros(600'000) + "]}]"); },
     "payload 0 is larger than"},
    {"many zeros", Endpoint::upload, [](auto& r) { r.body = uploadBodyOf("[0" + zeros(16'000'000) + "]"); },
     "payload 0 is not"},
    {"large log", Endpoint::errorlog, [](auto& r) { r.body = "[0" + zeros(600'000) + "]"; }, "the body is larger than"},
    {"second array", Endpoint::upload, [](auto& r) { r.body = uploadBodyOf("[{\"a\":1}][]"); }, "not JSON"},
    {"lone comma", Endpoint::upload, [](auto& r) { r.body = uploadBodyOf("[{\"a\":1},]"); }, "not JSON"},
    {"open array", Endpoint::upload, [](auto& r) { r.body = uploadBodyOf("[{\"a\":1}"); }, "not JSON"},
    {"not encoded", Endpoint::upload, [](auto& r) { r.body = zlibOf("[%7B%7D]"); }, "byte 0x5B at 0 should be"},
    {"lower case", Endpoint::upload, [](auto& r) { r.body = zlibOf("%5b"); }, "upper-case"},
    {"half a code", Endpoint::upload, [](auto& r) { r.body = zlibOf("%5B%5"); }, "percent sign at 3"},
    {"not UTF-8", Endpoint::upload, [](auto& r) { r.body = zlibOf("%5B%22%FF%22%5D"); }, "not UTF-8"},
    {"not JSON", Endpoint::upload, [](auto& r) { r.body = uploadBodyOf("[{]"); }, "not JSON"},
    {"deep", Endpoint::upload, [](auto& r) { r.body = uploadBodyOf(std::string(500'000, '[')); }, "not JSON"},
    {"no array", Endpoint::upload, [](auto& r) { r.body = uploadBodyOf("{\"a\":1}"); }, "not a JSON array"},
    {"no payload", Endpoint::upload, [](auto& r) { r.body = uploadBodyOf("[]"); }, "no payload"},
    {"hollow", Endpoint::upload, [](auto& r) { r.body = uploadBodyOf("[{\"a\":1},{}]"); }, "payload 1 is not"},
    {"number", Endpoint::upload, [](auto& r) { r.body = uploadBodyOf("[7]"); }, "payload 0 is not"},
};

TEST_F(ContractTest, FaultsAreToldAndRecorded) {
  CollectorClient client(collector.port());
  for (const auto& fault : faults) {
    SCOPED_TRACE(std::string(name(fault.endpoint)) + ": " + fault.what);
    auto request = goodRequest(fault.endpoint);
    fault.spoil(request);
    const auto reply = client.ask(request);
    ASSERT_TRUE(reply);
    EXPECT_EQ(reply->status, 400);
    const auto answer = json::parseObject(reply->body);
    ASSERT_TRUE(answer);
    EXPECT_EQ(json::string(*answer, "code"), "ERR400");
    EXPECT_THAT(json::string(*answer, "msg").value_or(""), HasSubstr(fault.reason));
    const auto recorded = collector.bad().back();
    EXPECT_EQ(recorded->problem, json::string(*answer, "msg"));
    EXPECT_EQ(recorded->endpoint, fault.endpoint);
  }
  EXPECT_EQ(collector.counts().bad, std::size(faults));
  EXPECT_EQ(collector.counts().good, 0u);
}

TEST_F(ContractTest, BodyIsRecordedWhenOnlyAHeaderIsWrong) {
  auto request = goodRequest(Endpoint::upload);
  request.headers.erase("authType");
  ask(collector.port(), request);
  ASSERT_EQ(collector.bad().size(), 1u);
  EXPECT_TRUE(collector.bad()[0]->body().is_array());
}

TEST_F(ContractTest, UnknownPathsAreNotFound) {
  CollectorClient client(collector.port());
  for (const auto* target : {"/page", "/zul/v1/errorRcv.do", "/inspect/nothing", "/zul/v1/dataRcv.do/", "//lookup"}) {
    const auto reply = client.ask({"GET", target, {}, ""});
    ASSERT_TRUE(reply) << target;
    EXPECT_EQ(reply->status, 404) << target;
    EXPECT_EQ(collector.bad().back()->endpoint, Endpoint::unknown);
    EXPECT_EQ(collector.bad().back()->path, target);
  }
}

}  // namespace
}  // namespace zul::collector
