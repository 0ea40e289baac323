// Scripted answers: their order, each of their members, and what is said of a faulty script.

#include <gmock/gmock.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "CollectorClient.h"
#include "RunningCollector.h"

namespace zul::collector {
namespace {

using testing::HasSubstr;

struct AnswersTest : testing::Test {
  std::optional<WireReply> ask(Endpoint endpoint) { return collector::ask(collector.port(), goodRequest(endpoint)); }

  test::RunningCollector collector;
};

TEST_F(AnswersTest, ListRunsOnceAndItsLastAnswerRepeats) {
  collector.setAnswers(R"({"upload":[{"status":503,"body":{"raw":"down"}},{},{"body":{"code":"RES900","raw":""}}],
                           "token":[{"body":null}], "errorlog":[]})");
  const std::pair<int, std::string> expected[] = {{503, "down"},
                                                  {200, R"({"code":"RES001","msg":"OK"})"},
                                                  {200, R"({"code":"RES900","raw":""})"},
                                                  {200, R"({"code":"RES900","raw":""})"}};
  for (const auto& [status, body] : expected) {
    EXPECT_EQ(ask(Endpoint::token)->body, "null");  // each endpoint has its own place in its own list
    EXPECT_EQ(ask(Endpoint::errorlog)->status, 200);
    auto bad = goodRequest(Endpoint::upload);
    bad.body.clear();
    EXPECT_EQ(collector::ask(collector.port(), bad)->status, 400);  // and uses none of it up
    const auto reply = ask(Endpoint::upload);
    EXPECT_EQ(reply->status, status);
    EXPECT_EQ(reply->body, body);
  }
  collector.setAnswers("{}");
  EXPECT_EQ(ask(Endpoint::upload)->body, R"({"code":"RES001","msg":"OK"})");
}

// What was given is gone from the list, but for the answer that repeats; what is queued comes before that.
TEST_F(AnswersTest, QueueTellsWhatIsToComeAndTakesMore) {
  const auto post = [&](const std::string& how, const std::string& answers) {
    return collector::ask(collector.port(), {"POST", "/inspect/answers" + how, {}, answers})->status;
  };
  const auto queue = [&] { return collector::ask(collector.port(), {"GET", "/inspect/answers", {}, ""})->body; };
  const auto only = [](const std::string& upload, const std::string& token) {
    return R"({"token":)" + token + R"(,"upload":)" + upload +
           R"(,"errorlog":[],"pushclick":[],"fingerprint":[],"appstore":[]})";
  };
  EXPECT_EQ(queue(), only("[]", "[]"));
  EXPECT_EQ(post("/once", R"({"upload":[{"status":500},{"close":true}]})"), 200);
  EXPECT_EQ(post("/once", R"({"upload":[{"status":502,"body":{"raw":"{\"a\": 1}"}}]})"), 200);
  EXPECT_EQ(post("/each", R"({"token":[{"body":{"raw":7},"delay":1},{"body":{"raw":"x","b":1.0}}]})"), 400);
  EXPECT_EQ(post("/each", R"({"token":[{"delay":1},{"body":{"raw":"{\"raw\":7}"}}]})"), 200);
  EXPECT_EQ(ask(Endpoint::upload)->status, 500);
  EXPECT_FALSE(ask(Endpoint::upload));
  const auto left =
      only(R"([{"body":{"raw":"{\"a\": 1}"},"status":502},{}])", R"([{"delay":1},{"body":{"raw":"{\"raw\":7}"}}])");
  EXPECT_EQ(queue(), left);
  EXPECT_EQ(post("", queue()), 200);
  EXPECT_EQ(queue(), left);
  EXPECT_EQ(ask(Endpoint::upload)->body, R"({"a": 1})");
  for (int i = 0; i < 3; ++i) EXPECT_EQ(ask(Endpoint::upload)->status, 200);
  EXPECT_EQ(post("/each", R"({"upload":[{"status":201}]})"), 200);
  EXPECT_EQ(ask(Endpoint::upload)->status, 201);
  EXPECT_EQ(ask(Endpoint::token)->status, 200);
  EXPECT_EQ(ask(Endpoint::token)->body, R"({"raw":7})");
}

TEST_F(AnswersTest, DelayHoldsUpNobodyElse) {
  collector.setAnswers(R"({"upload":[{"delay":3600000}], "token":[{"delay":1}]})");
  std::vector<CollectorClient> waiting;
  for (int i = 0; i < 40; ++i) {
    waiting.emplace_back(collector.port());
    waiting.back().send(goodRequest(Endpoint::upload).text());
  }
  EXPECT_TRUE(collector.waitFor(Endpoint::upload, waiting.size(), patience));
  EXPECT_EQ(ask(Endpoint::token)->status, 200);
  std::uint64_t sequence = 0;
  for (const auto& request : collector.requests()) EXPECT_EQ(request->sequence, ++sequence);
  EXPECT_EQ(sequence, waiting.size() + 1);
}

TEST_F(AnswersTest, FaultyScriptsAreRefusedWholeWithThePlace) {
  collector.setAnswers(R"({"upload":[{"status":201}]})");
  const std::pair<std::string, std::string> cases[] = {
      {"[]", "the whole"},
      {"{", "the whole"},
      {R"({"upload":[{"status":202}],"uploads":[]})", "uploads: no such endpoint; there are token"},
      {R"({"unknown":[]})", "unknown: no such endpoint"},
      {R"({"upload":{}})", "upload: must be a list"},
      {R"({"upload":[{},7]})", "upload[1]: must be an object"},
      {R"({"upload":[{"stauts":200}]})", "upload[0].stauts: no such member"},
      {R"({"upload":[{"status":"200"}]})", "upload[0].status: must be a whole number"},
      {R"({"upload":[{"status":100}]})", "upload[0].status: must be a whole number from 200 to 599"},
      {R"({"token":[{},{"delay":-1}]})", "token[1].delay"},
      {R"({"token":[{"delay":1.5}]})", "token[0].delay"},
      {R"({"token":[{"close":1}]})", "token[0].close"},
      {R"({"token":[{"body":{"raw":{}}}]})", "token[0].body.raw"},
  };
  for (const auto& [script, reason] : cases) {
    try {
      collector.setAnswers(script);
      ADD_FAILURE() << script;
    } catch (const std::invalid_argument& error) {
      EXPECT_THAT(error.what(), HasSubstr(reason));
    }
    const auto reply = collector::ask(collector.port(), {"POST", "/inspect/answers", {}, script});
    EXPECT_EQ(reply->status, 400);
    EXPECT_THAT(reply->body, HasSubstr(reason.substr(0, 5)));
  }
  EXPECT_EQ(ask(Endpoint::upload)->status, 201);  // the script from before is still there
}

}  // namespace
}  // namespace zul::collector
