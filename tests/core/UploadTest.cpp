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
            R"({"_qzno":1001,"errlog":"too busy","lng":"ANP","cntr":"ANP","tz":"ANP","os":"iOS 17.2",)"
            R"("phone":"ANP","plat":"IOS","vendorId":"11111111-2222-3333-4444-555555555555","advtFlag":1})");
  EXPECT_EQ(json::parseObject(*errors[1].body)->at("errlog"), "network error");
  EXPECT_EQ(phone.sim.log->count("[SDK -> COLLECTOR]: too busy"), 1U);
  EXPECT_EQ(phone.sim.log->count("[SDK -> COLLECTOR]: network error"), 1U);

  // A failure that the user could mend is told in its own words, once.
  event("c");
  EXPECT_EQ(phone.sim.log->count("did not reach the collector at https://collector.test: connection refused"), 1U);
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
    event("c");
    EXPECT_EQ(sent(), (std::vector<std::string>{"a", "b", left + "c"}));
    EXPECT_EQ(queued(), "");
  }
}

TEST_F(UploadTest, WhatWaitsIsInOneOpenRequestAtATime) {
  answers({kRefused, after(5, kRefused), kAccepted});
  event("a");
  phone.event("b");
  phone.event("c");
  phone.sim.dispatcher->advance(6);
  event("d");
  EXPECT_EQ(sent(), (std::vector<std::string>{"a", "ab", "c", "abd"}));
}

TEST_F(UploadTest, WhileFourRequestsAreOpenPayloadsGather) {
  answers({after(5, kAccepted)});
  for (const auto* name : {"a", "b", "c", "d", "e", "f", "g"}) event(name);
  EXPECT_EQ(sent(), (std::vector<std::string>{"a", "b", "c", "d"}));
  phone.sim.dispatcher->advance(11);
  EXPECT_EQ(sent(), (std::vector<std::string>{"a", "b", "c", "d", "efg"}));
  EXPECT_EQ(queued(), "");
}

// An older library kept the queue in the document, and in rows what came later.
TEST_F(UploadTest, AnOlderQueueGoesBeforeTheRowsAndWhatIsNoPayloadIsSetAside) {
  phone.endProcess();
  phone.store("Json", R"({"QueueJsonList":"[{\"SESSION\":{\"event\":\"a\",\"n\":0.1000}}]"})");
  for (const auto& [key, text] : std::vector<std::pair<std::string, std::string>>{
           {"1", "}}"}, {"2", "nonsense"}, {"3", R"({"SESSION":{"event":"b"}})"}, {"9223372036854775807", "{}"}}) {
    phone.sim.store->put(platform::DocumentStore::Table::queue, key, text);
  }
  answers({kUnreachable});
  phone.startUp();
  phone.sim.http->clearRequests();
  event("c");
  EXPECT_EQ(sent(), (std::vector<std::string>{"abc"}));
  EXPECT_EQ(queued(), "abc");
  EXPECT_EQ(phone.sim.store->load(platform::DocumentStore::Table::documents, "Json").rows.size(), 0U);
  EXPECT_EQ(phone.sim.store->loadAll(platform::DocumentStore::Table::setAside).rows.size(), 3U);
  EXPECT_NE(json::text(phone.document("Json")).find("0.1000"), std::string::npos) << "a payload passes as it stands";
  phone.startUp();
  phone.sim.http->clearRequests();
  answers({kAccepted});
  event("d");
  EXPECT_EQ(sent(), (std::vector<std::string>{"abcd"}));
  EXPECT_EQ(phone.queuedRows(), 0U);
}

// The document is computed from the rows, and what is written to it becomes rows.
TEST_F(UploadTest, TheQueueDocumentCanBeWrittenWhileTheProcessRuns) {
  answers({kUnreachable});
  event("a");
  auto& db = phone.process().db();
  EXPECT_EQ(json::text(db.documentWithID("Json").members()), json::text(phone.document("Json")));
  db.update("Json", [](MutableDocument& document) {
    EXPECT_NE(document.stringForKey("QueueJsonList")->find("\"event\":\"a\""), std::string::npos);
    document.setString(R"([{"SESSION":{"event":"x"}}, {}])", "QueueJsonList");
  });
  EXPECT_EQ(phone.sim.log->count("REMOVE Object: [{}]"), 1U);
  event("b");
  EXPECT_EQ(sent().back(), "xb");
  db.replace("Json", [](MutableDocument& document) { document.setString("[", "QueueJsonList"); });
  event("c");
  EXPECT_EQ(sent().back(), "xb") << "an unreadable queue stands in the way of one send";
  event("d");
  EXPECT_EQ(sent().back(), "cd");
}

TEST_F(UploadTest, TheQueueDocumentIsWrittenWholeAlsoBeforeItsRowsAreRead) {
  answers({kUnreachable});
  event("a");
  phone.boot();
  phone.process().db().update("Json", [](MutableDocument& document) { document.setString("", "QueueJsonList"); });
  EXPECT_EQ(phone.queuedRows(), 0U);
  EXPECT_EQ(queued(), "");
}

// A failed send writes nothing, and the rows keep the order of acceptance over overlapping sends and restarts.
TEST_F(UploadTest, TheOrderIsThatOfAcceptance) {
  answers({after(5, kUnreachable), kUnreachable});
  phone.event("a");
  phone.event("b");
  phone.sim.dispatcher->run();
  const auto commits = phone.sim.store->commits();
  phone.sim.dispatcher->advance(6);
  EXPECT_EQ(phone.sim.store->commits(), commits);
  phone.startUp();
  phone.sim.http->clearRequests();
  event("c");
  EXPECT_EQ(sent(), (std::vector<std::string>{"abc"}));
}

TEST_F(UploadTest, WhatIsInMemoryGoesOutWhileALongQueueCannotBeRead) {
  phone.endProcess();
  for (int id = 1; id <= 300; ++id) {
    phone.sim.store->put(platform::DocumentStore::Table::queue, std::to_string(id), R"({"SESSION":{"event":"x"}})");
  }
  answers({kUnreachable});
  phone.startUp();
  phone.sim.http->clearRequests();
  answers({kAccepted});
  phone.sim.store->setUnreadable(true);
  event("a");
  event("b");
  EXPECT_EQ(sent(), (std::vector<std::string>{"a", "b"}));
  phone.sim.store->setUnreadable(false);
  event("c");
  EXPECT_EQ(sent().back(), std::string(300, 'x') + "c");
  EXPECT_EQ(phone.queuedRows(), 0U);
}

// What the answer makes the owner store and the end of the payloads are one commit: no death of the process parts them.
TEST_F(UploadTest, AnAcceptedListLeavesInTheCommitOfItsConsequences) {
  phone.boot();
  auto& db = phone.process().db();
  const Log log(phone.sim.clock, phone.sim.log);
  const Tasks tasks(phone.sim.dispatcher, log);
  NetworkManager network(phone.sim.http, tasks, phone.sim.platform().deployment, log, {});
  UploadQueue queue(db, network, tasks, log,
                    {.sender = [] { return Sender(); },
                     .accepted =
                         [&](const auto&, const std::string& first, const auto&, const std::function<void()>& clear) {
                           db.transaction([&] {
                             clear();
                             db.update("AttributionInfo",
                                       [&](MutableDocument& document) { document.setString(first, "first"); });
                           });
                         },
                     .kept = [](const auto&, const auto&) {},
                     .completed = [] {},
                     .now = [] { return 0.0; }});
  queue.send({std::make_shared<const std::string>(R"({"SESSION":{"event":"a"}})")});
  EXPECT_EQ(phone.queuedRows(), 1U);
  const auto commits = phone.sim.store->commits();
  phone.sim.dispatcher->run();
  EXPECT_EQ(phone.sim.store->commits(), commits + 1);
  EXPECT_EQ(phone.queuedRows(), 0U);
  EXPECT_EQ(phone.document("AttributionInfo").at("first"), R"({"SESSION":{"event":"a"}})");
}

// A client that loses four requests does not end all uploads.
TEST_F(UploadTest, ARequestThatNeverEndsIsGivenUpAfterEightDays) {
  struct LosingHttp final : platform::HttpClient {
    void send(platform::HttpRequest request, Completion completion) override {
      EXPECT_TRUE(request.bodySource->readAll());
      completions.push_back(std::move(completion));
    }
    platform::HttpResponse fetch(platform::HttpRequest) override { return {}; }
    void stop() noexcept override {}
    std::vector<Completion> completions;
  };
  phone.boot();
  const Log log(phone.sim.clock, phone.sim.log);
  const Tasks tasks(phone.sim.dispatcher, log);
  const auto http = std::make_shared<LosingHttp>();
  NetworkManager network(http, tasks, phone.sim.platform().deployment, log, {});
  double now = 0;
  auto& db = phone.process().db();
  UploadQueue queue(
      db, network, tasks, log,
      {.sender = [] { return Sender(); },
       .accepted = [](const auto&, const auto&, const auto&, const std::function<void()>& clear) { clear(); },
       .kept = [](const auto&, const auto&) {},
       .completed = [] {},
       .now = [&] { return now; }});
  const auto send = [&](const std::string& event) {
    queue.send({std::make_shared<const std::string>(R"({"SESSION":{"event":")" + event + "\"}}")});
    phone.sim.dispatcher->run();
  };
  for (const auto* event : {"a", "b", "c", "d"}) send(event);
  now = 7.5 * 86400;
  send("e");
  EXPECT_EQ(http->completions.size(), 4U);
  now = 8.5 * 86400;
  send("f");
  ASSERT_EQ(http->completions.size(), 5U);
  EXPECT_EQ(phone.sim.log->count("is given up"), 4U);

  // The lost answers come all the same, and take nothing from the slots of others.
  for (const auto& completion : http->completions) completion({"", 200, R"({"code":"RES001"})"});
  phone.sim.dispatcher->run();
  EXPECT_EQ(phone.queuedRows(), 0U);
  for (const auto* event : {"g", "h", "i", "j", "k"}) send(event);
  EXPECT_EQ(http->completions.size(), 9U);
}

TEST_F(UploadTest, AnUnreadableQueueStandsInTheWayOnce) {
  for (const std::string broken : {"[{\"SESSION\":", "{\"a\":1}", "null"}) {
    const boost::json::object document{{"QueueJsonList", broken}};
    phone.endProcess();
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

}  // namespace
}  // namespace zul
