// What is kept of the requests: in memory, over the inspection pages and in the record file.

#include <gmock/gmock.h>

#include <boost/json.hpp>
#include <fstream>
#include <thread>
#include <vector>

#include "CollectorClient.h"
#include "Json.h"
#include "RunningCollector.h"
#include "TemporaryFolder.h"

namespace zul::collector {
namespace {

using namespace std::chrono_literals;
using test::RunningCollector;

boost::json::object get(int port, const std::string& target) {
  const auto reply = ask(port, {"GET", target, {}, ""});
  return reply ? json::parseObject(reply->body).value_or(boost::json::object()) : boost::json::object();
}

TEST(RecordTest, InspectionPagesShowAndReset) {
  RunningCollector collector;
  auto bad = goodRequest(Endpoint::errorlog);
  bad.target += "?a=\"\xff";
  ask(collector.port(), goodRequest(Endpoint::upload));
  ask(collector.port(), bad);

  auto all = get(collector.port(), "/inspect/all");
  EXPECT_EQ(json::integer(all, "total"), 2);
  EXPECT_EQ(json::integer(all, "good"), 1);
  EXPECT_EQ(json::integer(all, "bad"), 1);
  ASSERT_EQ(all["requests"].as_array().size(), 2u);
  const auto goodOnes = get(collector.port(), "/inspect/good");
  ASSERT_EQ(goodOnes.at("requests").as_array().size(), 1u);
  const auto& upload = goodOnes.at("requests").as_array()[0].as_object();
  EXPECT_EQ(json::text(upload.at("body")), R"([{"SESSION":{"ltvt":1,"phone":"아이폰 & co"}}])");
  EXPECT_EQ(upload.at("headers").as_object().at("authToken"), "t");
  const auto badOnes = get(collector.port(), "/inspect/bad");
  ASSERT_EQ(badOnes.at("requests").as_array().size(), 1u);
  EXPECT_EQ(badOnes.at("requests").as_array()[0].as_object().at("problem"), "there should be no query");

  EXPECT_EQ(ask(collector.port(), {"POST", "/inspect/reset", {}, ""})->status, 200);
  EXPECT_EQ(collector.counts().total, 0u);
  EXPECT_TRUE(collector.requests().empty());
  ask(collector.port(), goodRequest(Endpoint::token));
  EXPECT_EQ(collector.requests().at(0)->sequence, 3u);

  const std::string answers = R"({"token":[{"body":"from outside"}]})";
  EXPECT_EQ(ask(collector.port(), {"POST", "/inspect/answers", {}, answers})->status, 200);
  EXPECT_EQ(ask(collector.port(), goodRequest(Endpoint::token))->body, "\"from outside\"");
}

TEST(RecordTest, InspectionPagesSelectAndCut) {
  RunningCollector collector;
  ask(collector.port(), goodRequest(Endpoint::token));
  ask(collector.port(), goodRequest(Endpoint::upload));  // suspicious: most keys are missing
  auto other = goodRequest(Endpoint::upload);
  other.body = uploadBodyOf(R"([{"SESSION":{"uuid":"A B"}}])");
  ask(collector.port(), other);
  ask(collector.port(), {"GET", "/x", {}, ""});
  const std::pair<std::string, std::string> cases[] = {
      {"all", "1234"},
      {"all?", "1234"},
      {"good", "123"},
      {"suspicious", "23"},
      {"bad", "4"},
      {"all?verdict=good", "1"},
      {"all?verdict=suspicious&device=A%20B", "3"},
      {"good?endpoint=upload&since=2", "3"},
      {"all?endpoint=unknown", "4"},
      {"all?limit=2", "12 next 2"},
      {"all?limit=2&since=2", "34"},
      {"suspicious?limit=1", "2 next 2"},
      {"all?limit=0&since=1", " next 1"},
      {"all?limit=18446744073709551615", "1234"},
  };
  for (const auto& [target, expected] : cases) {
    SCOPED_TRACE(target);
    const auto page = get(collector.port(), "/inspect/" + target);
    std::string shown;
    for (const auto& request : page.at("requests").as_array()) shown += json::text(request.at("seq"));
    if (const auto* next = page.if_contains("next")) shown += " next " + json::text(*next);
    EXPECT_EQ(shown, expected);
    EXPECT_EQ(json::integer(page, "suspicious"), 2);
  }
  for (const auto* query : {"devices=1", "since=", "since=-1", "limit=x", "verdict=fine", "endpoint=up", "device=%4"}) {
    EXPECT_EQ(ask(collector.port(), {"GET", std::string("/inspect/all?") + query, {}, ""})->status, 400) << query;
  }
  EXPECT_EQ(collector.counts().total, 4u);
}

TEST(RecordTest, FileGetsOneLineARequestAtOnce) {
  const test::TemporaryFolder folder;
  const auto file = folder.path("record");
  const auto lines = [&] {
    std::vector<boost::json::object> found;
    std::ifstream in(file);
    for (std::string line; std::getline(in, line);) {
      const auto object = json::parseObject(line);
      EXPECT_TRUE(object) << line;
      found.push_back(object.value_or(boost::json::object()));
    }
    return found;
  };
  {
    RunningCollector collector({.recordFile = file, .keepBodies = false});
    ask(collector.port(), goodRequest(Endpoint::upload));
    ask(collector.port(), {"GET", "/\xff\"?x", {{"X", "\xfe"}}, ""});
    EXPECT_TRUE(collector.requests().at(0)->body().is_null());
    ASSERT_EQ(lines().size(), 2u);
  }
  RunningCollector again({.recordFile = file});
  ask(again.port(), goodRequest(Endpoint::token));
  const auto all = lines();
  ASSERT_EQ(all.size(), 3u);
  EXPECT_EQ(json::text(all[0].at("body")), R"([{"SESSION":{"ltvt":1,"phone":"아이폰 & co"}}])");
  EXPECT_TRUE(json::boolean(all[0], "good"));
  EXPECT_FALSE(json::boolean(all[1], "good"));
  EXPECT_EQ(json::string(all[2], "query"), "_qzno=102&_wPkg=com.shop.app");

  EXPECT_THROW(DevCollector({.recordFile = "/nowhere/at/all"}), std::runtime_error);
}

TEST(RecordTest, MemoryIsBoundedAndCountsAreNot) {
  RunningCollector few({.maxRequests = 3});
  for (int i = 0; i < 5; ++i) ask(few.port(), goodRequest(Endpoint::appstore));
  EXPECT_EQ(few.counts().good, 5u);
  ASSERT_EQ(few.requests().size(), 3u);
  EXPECT_EQ(few.requests()[0]->sequence, 3u);

  RunningCollector small({.maxBytes = 2000});
  auto log = goodRequest(Endpoint::errorlog);
  log.body = R"({"_qzno":1,"errlog":")" + std::string(600, 'x') + R"("})";
  ask(small.port(), log);
  ask(small.port(), log);
  ASSERT_EQ(small.requests().size(), 1u);
  EXPECT_EQ(small.requests()[0]->sequence, 2u);
  auto wordy = goodRequest(Endpoint::token);  // heads count as well
  wordy.headers.emplace("X-Word", std::string(5'000, 'x'));
  ask(small.port(), wordy);
  ask(small.port(), goodRequest(Endpoint::token));
  EXPECT_EQ(small.requests().size(), 1u);
}

}  // namespace
}  // namespace zul::collector
