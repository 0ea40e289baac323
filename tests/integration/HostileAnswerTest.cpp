#include <gtest/gtest.h>

#include "Json.h"
#include "Patience.h"
#include "RealPhone.h"
#include "RunningCollector.h"
#include "Tracker.h"

namespace zul::test {
namespace {

using collector::Endpoint;
using namespace std::chrono_literals;

std::string raw(const std::string& body, int status = 200) {
  const boost::json::object answer{{"status", status}, {"body", {{"raw", body}}}};
  return json::text(answer);
}

std::string nested(int depth) {
  return std::string(static_cast<std::size_t>(depth), '[') + std::string(static_cast<std::size_t>(depth), ']');
}

// Answers of a collector, or of whoever sits between, that are no acceptance.
std::vector<std::string> hostileAnswers() {
  return {
      raw(std::string(9 << 20, ' ')),
      raw(R"({"code":"RES001","fill":")" + std::string(9 << 20, 'x') + "\"}"),
      raw(""),
      raw("<html>Internal Server Error", 500),
      raw(R"({"code":"RES001")"),
      raw("\"RES001\""),
      raw(R"([{"code":"RES001"}])"),
      raw(R"({"code":["RES001"],"msg":{"a":[1]}})"),
      raw(R"({"code":{"code":"RES001"},"msg":7})"),
      raw(R"({"code":null,"msg":null})"),
      raw(R"({"msg":"line\nfeed\u0000and \ud800"})"),
      raw(nested(200'000)),
      raw(R"({"code":)" + nested(100'000) + "}"),
      raw("\x01\x02{}"),
      R"({"close":true})",
  };
}

class HostileAnswerTest : public testing::Test {
 protected:
  // A process whose first session has been accepted.
  void launch() {
    phone.startUp();
    EXPECT_TRUE(upload(collector, ""));
    EXPECT_TRUE(phone.keeps(""));
  }

  RunningCollector collector;
  RealPhone phone{collector.baseUrl()};
};

TEST_F(HostileAnswerTest, LeavesThePayloadQueuedAndTheLibraryRunning) {
  launch();
  std::string events;
  for (const auto& answer : hostileAnswers()) {
    SCOPED_TRACE(answer.substr(0, 100));
    collector.setAnswers(R"({"upload":[)" + answer + R"(],"errorlog":[)" + answer + "]}");
    const std::string name(1, static_cast<char>('a' + events.size()));
    events += name;
    phone.event(name);
    EXPECT_TRUE(phone.keeps(events));
  }
  collector.setAnswers("{}");
  phone.event("z");
  EXPECT_TRUE(upload(collector, events + "z"));
  EXPECT_TRUE(phone.keeps(""));
  EXPECT_EQ(collector.counts().bad, 0U);
  EXPECT_EQ(phone.log->count("Exception"), 0U) << phone.log->text();
}

// An acceptance can carry anything else.
TEST_F(HostileAnswerTest, AnAcceptanceCountsWhateverComesWithIt) {
  launch();
  const std::vector<std::string> answers = {
      R"({"code":"RES001","msg":7,"attributedInfo":7,"postbackConversionValue":"x","deferredLink":[]})",
      R"({"code":"RES001","attributedInfo":[{}],"deferredLink":{"a":)" + nested(20) + "}}",
      R"({"code":"RES001","attributedInfo":{"a":1e999},"conversionValue":-99999999999999999999})",
  };
  std::string name = "a";
  for (const auto& answer : answers) {
    collector.setAnswers(R"({"upload":[)" + raw(answer, 500) + "]}");
    phone.event(name);
    EXPECT_TRUE(upload(collector, name)) << answer;
    EXPECT_TRUE(phone.keeps("")) << answer;
    ++name[0];
  }
}

TEST_F(HostileAnswerTest, ATokenAnswerNeitherForgesAHeaderNorStopsTheLibrary) {
  auto answers = hostileAnswers();
  for (const auto* token : {R"("tk\r\nX-Forged: 1")", R"("tk\u0000")", "[]", "7", "{}", R"("")", "null"}) {
    answers.push_back(raw(std::string(R"({"token":)") + token + "}"));
  }
  for (const auto& answer : answers) {
    SCOPED_TRACE(answer.substr(0, 100));
    RunningCollector own;  // what the phone before leaves open is none of this one's
    own.setAnswers(R"({"token":[)" + answer + "]}");
    RealPhone another(own.baseUrl());
    another.haveToken("");
    another.boot(0.01);
    another.initialize();
    EXPECT_TRUE(own.waitFor(Endpoint::token, 1, 10s));
    EXPECT_TRUE(eventually([&] { return another.log->count("ZULinitYN: ") == 1; }));
    another.event("a");
    const bool started = another.tracker().getZULInitFlag();
    EXPECT_TRUE(!started || upload(own, "a"));
    for (const auto& request : own.requests()) {
      EXPECT_EQ(request->problem, "");
      EXPECT_EQ(request->header("X-Forged"), "");
    }
    EXPECT_EQ(another.log->count("Exception"), 0U) << another.log->text();
  }
}

}  // namespace
}  // namespace zul::test
