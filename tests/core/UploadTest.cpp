#include <gtest/gtest.h>

#include <boost/json/parse.hpp>

#include "Events.h"
#include "Json.h"
#include "Runtime.h"
#include "SimulatedPhone.h"
#include "Tracker.h"

namespace zul {
namespace {

using Answer = platform::SimulatedHttp::Answer;

const Answer kAccepted{R"({"code":"RES001"})"};
const Answer kRefused{R"({"code":"ERR9","msg":"too busy"})"};
const Answer kUnreachable{"", 0, 0, "connection refused"};

Answer after(double seconds, Answer answer) {
  answer.delay = seconds;
  return answer;
}

class UploadTest : public testing::Test {
 protected:
  UploadTest() {
    phone.startUp();
    phone.sim.http->clearRequests();
  }

  void event(const std::string& name) {
    phone.event(name);
    phone.sim.dispatcher->run();
  }
  static std::string names(const boost::json::array& list) { return test::eventNames(list, "?"); }
  std::vector<std::string> sent() {
    std::vector<std::string> lists;
    for (const auto& list : phone.uploads()) lists.push_back(names(list));
    return lists;
  }
  std::string queued() {
    const auto text = json::string(phone.document("Json"), "QueueJsonList").value_or("?");
    return text.empty() ? "" : names(boost::json::parse(text).as_array());
  }
  void answers(const std::vector<Answer>& answers) {
    phone.sim.http->forget("dataRcv");
    for (const auto& answer : answers) phone.sim.http->answer("dataRcv", answer);
  }

  test::SimulatedPhone phone;
};

TEST_F(UploadTest, TheCollectorLearnsWhyItWasNotAccepted) {
  answers({kRefused, kUnreachable});
  event("a");
  event("b");
  const auto errors = phone.sim.http->requests("errorRcv");
  ASSERT_EQ(errors.size(), 2U);
  const auto refused = *json::parseObject(*errors[0].body);
  EXPECT_EQ(json::text(refused),
            R"({"_qzno":1001,"errlog":"too busy","lng":"KO","cntr":"KR","tz":"0","os":"iOS 17.2",)"
            R"("phone":"iPhone14,2","plat":"IOS","vendorId":"11111111-2222-3333-4444-555555555555","advtFlag":1})");
  EXPECT_EQ(json::parseObject(*errors[1].body)->at("errlog"), "network error");
  EXPECT_EQ(phone.sim.log->count("[SDK -> COLLECTOR]: too busy"), 1U);
  EXPECT_EQ(phone.sim.log->count("[SDK -> COLLECTOR]: network error"), 1U);
}

TEST_F(UploadTest, AcceptanceProlongsTheSessionAndClearsWhatIsToldOnce) {
  answers({after(3, kAccepted)});
  phone.process().record().edit([](SessionJson& record) {
    record.isDrUpdate = "Y";
    record.openDl = "app://x";
    record.saveToken = "Y";
    record.uptAfv = "Y";
  });
  phone.store("DeeplinkReferrerInfo", "{}");
  const auto commits = phone.sim.store->commits();
  event("a");
  EXPECT_LE(phone.sim.store->commits() - commits, 3U);
  phone.sim.dispatcher->advance(3);
  EXPECT_EQ(phone.document("Behavior").at("sessionExpireSec").as_double(), phone.sim.clock->now() + 1800);
  const auto record = phone.process().record().sharedInstance();
  EXPECT_EQ(record->isDrUpdate, "N");
  EXPECT_EQ(record->openDl, "");
  EXPECT_EQ(record->saveToken, "N");
  EXPECT_EQ(record->uptAfv, "");
  EXPECT_EQ(phone.document("DeeplinkReferrerInfo").at("openDl"), "");
  EXPECT_FALSE(phone.document("InstallReferrerInfo").contains("isIrUpdate"));
}

TEST_F(UploadTest, WithNothingToSendNothingIsSent) {
  phone.tracker().exceptionSendToServer();
  phone.sim.dispatcher->run();
  EXPECT_TRUE(sent().empty());
  EXPECT_EQ(phone.sim.log->count("No finalJsonList data for send: "), 1U);
  answers({kRefused});
  event("a");
  answers({kAccepted});
  phone.tracker().exceptionSendToServer();
  phone.sim.dispatcher->run();
  EXPECT_EQ(sent(), (std::vector<std::string>{"a", "a"}));
}

TEST_F(UploadTest, WhereSendsOverlapNothingVanishes) {
  struct Case {
    Answer a, b;
    std::string left;
  };
  const std::vector<Case> cases = {
      {after(5, kAccepted), kRefused, "b"}, {after(5, kRefused), kAccepted, "a"}, {after(5, kRefused), kRefused, "ab"},
      {after(5, kAccepted), kAccepted, ""}, {kRefused, after(5, kAccepted), "a"}, {kAccepted, after(5, kRefused), "b"},
  };
  for (const auto& [a, b, left] : cases) {
    phone.sim.http->clearRequests();
    answers({a, b, kAccepted});
    phone.event("a");
    phone.event("b");
    phone.sim.dispatcher->advance(6);
    EXPECT_EQ(queued(), left);
    EXPECT_EQ(phone.journaled(), 0U);
    event("c");
    EXPECT_EQ(sent(), (std::vector<std::string>{"a", "b", left + "c"}));
    EXPECT_EQ(queued(), "");
  }
}

TEST_F(UploadTest, WhileFourRequestsAreOpenPayloadsGather) {
  answers({after(5, kAccepted)});
  for (const auto* name : {"a", "b", "c", "d", "e", "f", "g"}) event(name);
  EXPECT_EQ(sent(), (std::vector<std::string>{"a", "b", "c", "d"}));
  phone.sim.dispatcher->advance(11);
  EXPECT_EQ(sent(), (std::vector<std::string>{"a", "b", "c", "d", "efg"}));
  EXPECT_EQ(queued(), "");
}

TEST_F(UploadTest, JournalRowsThatAreNoPayloadsAreSetAside) {
  phone.store("Json", R"({"QueueJsonList":"[{\"SESSION\":{\"event\":\"a\"}}]"})");
  for (const auto& [key, text] : std::vector<std::pair<std::string, std::string>>{
           {"1", "}}"}, {"2", "nonsense"}, {"3", R"({"SESSION":{"event":"b"}})"}, {"9223372036854775807", "{}"}}) {
    const platform::DocumentStore::Write write{platform::DocumentStore::Table::journal, key, text};
    phone.sim.store->commit({&write, 1});
  }
  phone.startUp();
  phone.sim.http->clearRequests();
  event("c");
  EXPECT_EQ(sent(), (std::vector<std::string>{"abc"}));
  EXPECT_EQ(phone.journaled(), 0U);
  EXPECT_EQ(phone.sim.store->loadAll(platform::DocumentStore::Table::setAside).rows.size(), 3U);
}

TEST_F(UploadTest, AnUnreadableQueueStandsInTheWayOnce) {
  for (const std::string broken : {"[{\"SESSION\":", "{\"a\":1}", "null"}) {
    const boost::json::object document{{"QueueJsonList", broken}};
    phone.store("Json", json::text(document));
    phone.startUp();
    phone.sim.http->clearRequests();
    answers({kAccepted});
    event("a");
    EXPECT_TRUE(sent().empty());
    event("b");
    EXPECT_EQ(sent(), (std::vector<std::string>{"ab"})) << broken;
    EXPECT_EQ(queued(), "");
    std::string aside;
    for (const auto& row : phone.sim.store->loadAll(platform::DocumentStore::Table::setAside).rows) aside += row.text;
    EXPECT_NE(aside.find(broken), std::string::npos);
  }
}

TEST_F(UploadTest, ElementsThatAreNoPayloadsAreRemoved) {
  phone.store("Json",
              R"({"QueueJsonList":"[{\"SESSION\":{\"event\":\"a\"}},7,{},null,{\"SESSION\":{\"event\":\"b\"}}]"})");
  phone.startUp();
  phone.sim.http->clearRequests();
  event("c");
  EXPECT_EQ(sent(), (std::vector<std::string>{"abc"}));
  EXPECT_EQ(phone.sim.log->count("REMOVE Object: [7,{},null]"), 1U);
}

TEST_F(UploadTest, ALargeQueueIsStoredNowAndThenAndJournaledMeanwhile) {
  boost::json::array large;
  for (int n = 0; n < 100; ++n) {
    large.push_back(boost::json::object{{"SESSION", {{"event", "x"}, {"filling", std::string(4096, 'x')}}}});
  }
  const boost::json::object document{{"QueueJsonList", json::text(boost::json::value(large))}};
  phone.store("Json", json::text(document));
  phone.startUp();
  phone.sim.http->clearRequests();
  answers({kUnreachable});
  const auto commits = phone.sim.store->commits();
  for (const auto* name : {"a", "b", "c"}) event(name);
  EXPECT_EQ(phone.sim.store->commits() - commits, 3U);
  EXPECT_EQ(phone.journaled(), 3U);
  EXPECT_EQ(queued(), std::string(100, 'x'));
  EXPECT_EQ(sent().back(), std::string(100, 'x') + "abc");
  phone.sim.dispatcher->advance(10);
  EXPECT_EQ(phone.journaled(), 0U);
  EXPECT_EQ(queued(), std::string(100, 'x') + "abc");
}

}  // namespace
}  // namespace zul
