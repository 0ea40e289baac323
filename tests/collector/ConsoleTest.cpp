// What the collector serves for its page: files, events, single requests. None of it counts as a request.

#include <gmock/gmock.h>

#include <boost/json.hpp>
#include <set>
#include <string>
#include <vector>

#include "CollectorClient.h"
#include "Json.h"
#include "RunningCollector.h"
#include "WireKeys.h"

namespace zul::collector {
namespace {

using test::RunningCollector;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsSupersetOf;

/// A client of /events.
class EventClient {
 public:
  explicit EventClient(int port, const std::string& lastId = "") : client_(port) {
    WireRequest request{"GET", "/events", {}, ""};
    if (!lastId.empty()) request.headers.emplace("Last-Event-ID", lastId);
    client_.send(request.text());
    head = client_.receiveUpTo("\r\n\r\n").value_or("");
  }

  /// The data of the next event, empty when none comes any more.
  boost::json::object next() {
    const auto event = client_.receiveUpTo("\n\n").value_or("");
    const auto data = event.find("\ndata: ");
    if (data == event.npos) return {};
    id = event.substr(4, data - 4);
    return json::parseObject(std::string_view(event).substr(data + 7)).value_or(boost::json::object());
  }

  /// The numbers of the requests that it tells of, until there are `count`.
  std::vector<std::int64_t> sequences(std::size_t count) {
    std::vector<std::int64_t> found;
    while (found.size() < count) {
      const auto event = next();
      if (event.empty()) break;
      for (const auto& request : event.at("requests").as_array()) {
        found.push_back(json::integer(request.as_object(), "seq"));
      }
    }
    return found;
  }

  std::string head;
  std::string id;

 private:
  CollectorClient client_;
};

boost::json::object get(int port, const std::string& target) {
  const auto reply = ask(port, {"GET", target, {}, ""});
  return reply ? json::parseObject(reply->body).value_or(boost::json::object()) : boost::json::object();
}

TEST(ConsoleTest, PageIsServedUnderAStrictPolicyAndCountsAsNothing) {
  RunningCollector collector;
  for (const auto* target : {"/", "/?x=1", "/page/app.js", "/page/style.css", "/favicon.ico", "/inspect/keys"}) {
    const auto reply = ask(collector.port(), {"GET", target, {}, ""});
    ASSERT_TRUE(reply) << target;
    EXPECT_EQ(reply->status, 200) << target;
    EXPECT_THAT(reply->head, HasSubstr("default-src 'none'; script-src 'self';"));
    EXPECT_THAT(reply->head, HasSubstr("require-trusted-types-for 'script'"));
    EXPECT_THAT(reply->head, HasSubstr("nosniff"));
  }
  EventClient events(collector.port());
  EXPECT_THAT(events.head, HasSubstr("text/event-stream"));
  WireRequest foreign{"POST", "/inspect/answers", {{"Sec-Fetch-Site", "cross-site"}}, R"({"upload":[{"status":500}]})"};
  EXPECT_EQ(ask(collector.port(), foreign)->status, 403);
  EXPECT_EQ(collector.counts().total, 0u);
  EXPECT_EQ(ask(collector.port(), goodRequest(Endpoint::upload))->status, 200);
}

TEST(ConsoleTest, EveryKeyHasAGroupAndAMeaning) {
  RunningCollector collector;
  const auto all = json::parse(ask(collector.port(), {"GET", "/inspect/keys", {}, ""})->body).value();
  std::multiset<std::string> found;
  for (const auto& entry : all.as_array()) {
    const auto& key = entry.as_object();
    found.insert(*json::string(key, "key"));
    for (const auto* member : {"group", "kind", "meaning"}) {
      EXPECT_NE(json::string(key, member).value_or(""), "") << *json::string(key, "key") << " " << member;
    }
  }
  for (const auto& known : wireKeys()) EXPECT_EQ(found.count(std::string(known.key)), 1u) << known.key;
  EXPECT_THAT(found, IsSupersetOf({"inrc10", "inrcTime10", "inrcDt1"}));
}

TEST(ConsoleTest, EventsTellWhatIsThereWhatComesAndWhatIsForgotten) {
  RunningCollector collector;
  ask(collector.port(), goodRequest(Endpoint::token));
  auto upload = goodRequest(Endpoint::upload);
  upload.body = uploadBodyOf(R"([{"SESSION":{"uuid":"A","ltvt":2,"vtTz":7,"isVisitNew":"Y","pkg":"p","phone":"m"}},
                                 {"SESSION":{"uuid":"B","ltvt":"2","vtTz":7,"phone":"m"}}])");
  ask(collector.port(), upload);

  EventClient first(collector.port());
  auto event = first.next();
  EXPECT_TRUE(json::boolean(event, "begun"));
  const auto& requests = event.at("requests").as_array();
  ASSERT_EQ(requests.size(), 2u);
  EXPECT_EQ(requests[0].at("endpoint"), "token");
  EXPECT_EQ(requests[1].at("verdict"), "suspicious");
  EXPECT_EQ(json::text(requests[1].at("of")), R"([["A",7,2,true,0,"m","p"],["B",7,0,false,0,null,""]])");

  EXPECT_EQ(ask(collector.port(), upload)->status, 200);
  event = first.next();
  EXPECT_FALSE(json::boolean(event, "begun"));
  EXPECT_EQ(event.at("requests").at(0).at("seq"), 3);
  EXPECT_EQ(event.at("requests").at(0).at("of").at(1).at(4), 2);  // equal to one of request 2

  EXPECT_THAT(EventClient(collector.port(), first.id.substr(0, first.id.find('.')) + ".1").sequences(2),
              ElementsAre(2, 3));
  EXPECT_THAT(EventClient(collector.port(), "1.1").sequences(3), ElementsAre(1, 2, 3));  // of another process
  EXPECT_THAT(EventClient(collector.port(), "x").sequences(3), ElementsAre(1, 2, 3));

  const auto before = json::integer(event, "answers");
  collector.setAnswers("{}");
  event = first.next();
  EXPECT_NE(json::integer(event, "answers"), before);
  collector.reset();
  event = first.next();
  EXPECT_TRUE(json::boolean(event, "begun"));
  EXPECT_TRUE(event.at("requests").as_array().empty());
  collector.stop();  // with the stream open
  EXPECT_TRUE(first.next().empty());
}

// It is not kept for: it is told how much it has missed, and goes on with what there is.
TEST(ConsoleTest, EventsWaitForNoSlowReader) {
  RunningCollector collector({.maxRequests = 50});
  EventClient slow(collector.port());
  slow.next();
  constexpr std::int64_t kMore = 3000;
  CollectorClient client(collector.port());
  for (std::int64_t i = 0; i < kMore; ++i) {
    ASSERT_EQ(client.ask({"GET", "/" + std::string(8'000, 'x'), {}, ""})->status, 404);
  }
  std::int64_t got = 0;
  std::int64_t missed = 0;
  for (std::int64_t last = 0; last < kMore;) {
    const auto event = slow.next();
    ASSERT_FALSE(event.empty());
    missed += json::integer(event, "missed");
    for (const auto& request : event.at("requests").as_array()) {
      ++got;
      last = json::integer(request.as_object(), "seq");
    }
  }
  EXPECT_EQ(got + missed, kMore);
  EXPECT_GT(missed, 0);
}

TEST(ConsoleTest, OneRequestAndOnePayloadAreShown) {
  RunningCollector collector;
  auto upload = goodRequest(Endpoint::upload);
  upload.body = uploadBodyOf(R"([{"SESSION":{"ltvt":"1"},"x":[]},{"SESSION":{"ltvt":"1","isWifi":2.0,"new":1}}])");
  ask(collector.port(), upload);
  ask(collector.port(), {"GET", "/<b>\xff", {}, ""});

  EXPECT_EQ(ask(collector.port(), {"GET", "/inspect/body?seq=1", {}, ""})->body, upload.body);
  const auto whole = get(collector.port(), "/inspect/request?seq=1");
  EXPECT_EQ(whole.at("body").as_array().size(), 2u);
  EXPECT_EQ(whole.at("answer").at("accepted"), true);
  const auto second = get(collector.port(), "/inspect/request?seq=1&payload=1");
  EXPECT_EQ(json::text(second.at("members")), R"([["ltvt","\"1\""],["isWifi","2.0"],["new","1"]])");
  EXPECT_EQ(json::text(second.at("beside")), "[]");
  // The record names a complaint once; the payload's own view names all of its own.
  EXPECT_THAT(json::text(second.at("suspicions")), HasSubstr(R"({"key":"ltvt","reason":"should be a whole number"})"));
  EXPECT_THAT(json::text(second.at("suspicions")), testing::Not(HasSubstr(R"("key":"x")")));
  const auto first = get(collector.port(), "/inspect/request?seq=1&payload=0");
  EXPECT_EQ(json::text(first.at("beside")), R"([["x","[]"]])");
  EXPECT_EQ(get(collector.port(), "/inspect/request?seq=2").at("path"), "%2F%3Cb%3E%FF");

  const std::pair<std::string, int> cases[] = {{"request?seq=3", 404},           {"body?seq=0", 404},
                                               {"request?seq=1&payload=2", 400}, {"request?seq=2&payload=0", 200},
                                               {"request?seq=x", 400},           {"request?sequence=1", 400}};
  for (const auto& [target, status] : cases) {
    EXPECT_EQ(ask(collector.port(), {"GET", "/inspect/" + target, {}, ""})->status, status) << target;
  }
}

}  // namespace
}  // namespace zul::collector
