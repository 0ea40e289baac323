// Links, referrers and answers come from anywhere: whatever they hold, the library takes it and works on.

#include <gmock/gmock.h>

#include <string>
#include <utility>
#include <vector>

#include "Json.h"
#include "PercentCoding.h"
#include "SimulatedPhone.h"
#include "Tracker.h"

namespace zul {
namespace {

std::string repeated(const std::string& text, int times) {
  std::string all;
  for (int n = 0; n < times; ++n) all += text;
  return all;
}

const std::vector<std::pair<const char*, std::string>>& hostileTexts() {
  static const std::vector<std::pair<const char*, std::string>> texts = {
      {"nothing", ""},
      {"NULs", std::string("?_qzs=a\0b&_qzc=\0", 17)},
      {"no UTF-8", "?_qzs=\xff\xfe&_qzc=\xc3&al_applink_data=\x80"},
      {"no UTF-8 when decoded", "?_qzs=%ff&_qzc=%c3%28&al_applink_data=%ff"},
      {"broken percent signs", "?_qzs=%&_qzc=%4&_qzw=%zz%"},
      {"numbers beyond 64 bits",
       "?_qzs=a&_qzc=b&_qzp=" + std::string(400, '9') + "&_qzclkTime=-" + std::string(99, '9')},
      {"thousands of pieces", "?_qzs=a&_qzc=b" + repeated("&_qzs=c&=&?", 5000)},
      {"2 MB", "?_qzs=a&_qzc=b&_qzw=" + std::string(2'000'000, 'x')},
      {"2 MB of signs", "?_qzs_qzc" + repeated("&=%", 700'000)},
      {"nested", "?al_applink_data=" + percentEncode(repeated("[", 100'000))},
      {"a number without end", "?al_applink_data=%7B%22target_url%22%3A" + std::string(100'000, '9')},
      {"a link in itself",
       "?al_applink_data=" + percentEncode(R"({"target_url":"?al_applink_data=%7B%22target_url%22%7D"})")},
      {"quotes and line ends", "?_qzs=%22%0d%0a%5c&_qzc=%00%1b"},
  };
  return texts;
}

// A later event is accepted, and its payload is what it should be.
void expectWorks(test::SimulatedPhone& phone, const char* after) {
  phone.sim.http->clearRequests();
  phone.event("after");
  phone.sim.dispatcher->advance(1);
  const auto uploads = phone.uploads();
  ASSERT_EQ(uploads.size(), 1U) << after;
  EXPECT_EQ(json::string(test::session(uploads[0].back()), "event"), "after") << after;
  EXPECT_EQ(phone.queuedRows(), 0U) << after;
}

TEST(HostileText, LinksAndReferrersOfAnyShape) {
  for (const auto& [name, text] : hostileTexts()) {
    test::SimulatedPhone phone;
    phone.boot();
    Dictionary launch;
    launch.set("UIApplicationLaunchOptionsURLKey", text);
    phone.initialize(launch);
    auto& tracker = phone.tracker();
    const auto tellAll = [&, &text = text] {
      tracker.parseDeepLink(text);
      tracker.parseReferrer(text);
      tracker.parseReferrer2(text);
      tracker.setFacebookreferrerData(text);
      static_cast<void>(tracker.parseAttributionLinkToGetDeeplinkUrl(text));
    };
    tellAll();
    phone.sim.dispatcher->advance(6);
    tellAll();
    phone.sim.dispatcher->advance(1);
    expectWorks(phone, name);
    EXPECT_EQ(phone.sim.log->count("Exception"), 0U) << name;
    for (const auto& [id, document] : phone.documents()) {
      EXPECT_LT(json::text(document).size(), 1'000'000U) << name << " in " << id;
    }
  }
}

TEST(HostileText, AnswersOfAnyShape) {
  const auto nested = repeated("{\"a\":", 100'000) + "1" + repeated("}", 100'000);
  std::vector<std::string> values = {"null", "7", "[]", "{}", "1e400", "-99999999999999999999", "\"\\u0000\"", nested};
  for (const auto& [name, text] : hostileTexts())
    values.push_back(json::text(boost::json::value(boost::json::string(text))));
  for (const auto& value : values) {
    if (value.size() > 1'000'000) continue;  // an answer may have 8 MB in all
    test::SimulatedPhone phone;
    std::string answer = "{\"code\":\"RES001\"";
    for (const auto* const key :
         {"qzs", "qzc", "qzp", "itp", "qzclkTime", "responseTime", "qzref", "coarseValue", "lockWindow",
          "registerAppForAdNetworkAttribution", "updateConversionValue", "attributedInfo"}) {
      answer.append(",\"").append(key).append("\":").append(value);
    }
    phone.sim.http->setAnswer("fingerPrintRps", {answer + "}"});
    phone.sim.http->setAnswer(
        "dataRcv", {answer + R"(,"attributedInfo":{"open":{"bean":)" + value + R"(},"install":{"bean":{"qzsNm":)" +
                    value + ",\"qzcNm\":" + value + ",\"adid\":" + value + ",\"dfrdForIos\":" + value + "}}}}"});
    phone.startUp();
    phone.sim.dispatcher->advance(1);
    phone.startUp();
    phone.sim.dispatcher->advance(1);
    phone.acceptUploads();
    expectWorks(phone, value.substr(0, 40).c_str());
  }
}

}  // namespace
}  // namespace zul
