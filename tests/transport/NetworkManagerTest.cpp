#include <gmock/gmock.h>

#include <boost/json/array.hpp>
#include <boost/json/object.hpp>
#include <boost/json/value.hpp>
#include <stdexcept>

#include "NetworkManager.h"
#include "PercentCoding.h"
#include "QZ_GZIP.h"
#include "SimulatedPlatform.h"
#include "zul/Deployment.h"

namespace zul {
namespace {

using platform::HttpRequest;
using platform::HttpResponse;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Optional;
using testing::Pair;

// Keeps requests until the test answers them.
struct FakeHttp : platform::HttpClient {
  void send(HttpRequest request, Completion completion) override {
    if (broken) throw std::runtime_error("no memory for a request");
    requests.push_back(std::move(request));
    completions.push_back(std::move(completion));
  }
  HttpResponse fetch(HttpRequest) override { return {}; }
  void stop() noexcept override {}

  bool broken = false;
  std::vector<HttpRequest> requests;
  std::vector<Completion> completions;
};

const std::pair<std::string, std::string> kFrp{"authType", "WX2aT/3XDTuJzTj+gpbyAw=="};
const std::pair<std::string, std::string> kZul{"authType", "PjhPhqxo8cd84LGpyhkIZA=="};
const std::pair<std::string, std::string> kAuth{"authToken", "tok"};
const std::pair<std::string, std::string> kAgent{"User-Agent", "ZUL/1.1.5/iPhone 15/iOS 17.2"};

struct NetworkManagerTest : testing::Test {
  std::unique_ptr<NetworkManager> make() {
    Deployment deployment;
    deployment.collectorBaseUrl = "https://c.example";
    deployment.caFile = "ca.pem";
    const Log log(device.clock, device.log);
    return std::make_unique<NetworkManager>(http, Tasks(device.dispatcher, log), deployment, log, Dictionary());
  }

  NetworkManager::Completion keep() {
    return [this](bool success, HttpResponse response) { answers.emplace_back(success, response.body.value_or("-")); };
  }

  const HttpRequest& request() {
    EXPECT_FALSE(http->requests.empty());
    return http->requests.back();
  }

  std::string line() { return request().method + ' ' + request().url; }

  platform::SimulatedPlatform device;
  const Sender sender{.phone = "iPhone 15", .os = "iOS 17.2", .accessToken = "tok"};
  std::shared_ptr<FakeHttp> http = std::make_shared<FakeHttp>();
  std::vector<std::pair<bool, std::string>> answers;
  std::unique_ptr<NetworkManager> manager = make();
};

TEST_F(NetworkManagerTest, dataUpload) {
  const std::string document = R"([{"a":"1+1=2 & 100%/값"}])";
  manager->sendDocument(document, sender, keep());
  EXPECT_EQ(line(), "POST https://c.example/zul/v1/dataRcv.do");
  EXPECT_THAT(request().headers, ElementsAre(kZul, kAuth, kAgent, Pair("Content-Type", "application/octet-stream")));
  EXPECT_FALSE(request().cookies);
  const auto body = request().bodySource->readAll();
  EXPECT_EQ(body, uploadBody(document));
  const auto encoded = QZ_GZIP::gunzippedData(body.value());
  EXPECT_THAT(encoded, Optional(HasSubstr("1%2B1%3D2%20%26%20100%25%2F%EA%B0%92")));
  EXPECT_EQ(percentDecode(encoded.value()), document);
}

TEST_F(NetworkManagerTest, pushClick) {
  const struct {
    boost::json::object params;
    std::optional<std::string> idfa;
    std::string query;
  } cases[] = {
      {{{"profileNo", 12}, {"pushNo", "p1"}, {"pushSk", "s-k"}, {"pushToken", "a+b/="}, {"arrivalTime", 1700}},
       "ID",
       "profileNo=12&pushNo=p1&platform=IOS&pushToken=a%2Bb%2F%3D&adid=ID&pushSk=s-k"},
      {{{"profileNo", " -12x"}, {"pushNo", 34}, {"pushSk", true}, {"pushToken", "\xFF"}},
       std::nullopt,
       "profileNo=-12&pushNo=34&platform=IOS&pushToken=(null)&adid=(null)&pushSk=1"},
      {{{"pushNo", 2.5}, {"pushSk", 2.0}},
       std::nullopt,
       "profileNo=0&pushNo=2.5&platform=IOS&pushToken=(null)&adid=(null)&pushSk=2"},
      {{}, "", "profileNo=0&pushNo=(null)&platform=IOS&pushToken=(null)&adid=&pushSk=(null)"},
  };
  for (const auto& c : cases) {
    manager->receiveNotificationWithParams(c.params, c.idfa, sender, keep());
    EXPECT_EQ(line(), "POST https://c.example/zul/v1/pushClick.do?" + c.query);
    EXPECT_THAT(request().headers, ElementsAre(kZul, kAuth, kAgent));
    EXPECT_EQ(request().body, std::nullopt);
    EXPECT_THAT(device.log->lines.back(),
                HasSubstr("QuorLog / D | zul::NetworkManager::receiveNotificationWithParams("));
    EXPECT_THAT(device.log->lines.back(), EndsWith(" | URL: " + request().url + "\n"));
  }
}

TEST_F(NetworkManagerTest, fingerPrint) {
  FingerprintQuery query{.qzno = 7, .advtId = std::nullopt, .vendorId = "V", .firstExcute = false, .clickTime = "1700"};
  manager->requestFingerPrintWithQzno(query, sender, keep());
  EXPECT_EQ(line(), "POST https://c.example/frp/v1/fingerPrintRps.do");
  EXPECT_THAT(request().headers, ElementsAre(kFrp, kAgent));
  EXPECT_EQ(request().body, R"({"_qzno":7,"phone":"iPhone 15","os":"iOS 17.2","vendorId":"V"})");
  EXPECT_THAT(device.log->lines,
              ElementsAre(EndsWith(" | userAgent in requestFingerPrintWithQzno : " + kAgent.second + "\n"),
                          EndsWith(" | postDic in requestFingerPrintWithQzno : " + *request().body + "\n")));

  query.advtId = "ID";
  query.firstExcute = true;
  manager->requestFingerPrintWithQzno(query, sender, keep());
  EXPECT_EQ(request().body, R"({"_qzno":7,"advtId":"ID","phone":"iPhone 15","os":"iOS 17.2",)"
                            R"("vendorId":"V","isNew":true,"clickTime":"1700"})");
}

TEST_F(NetworkManagerTest, successMeansNoTransportErrorAndForFingerPrintsABody) {
  const struct {
    HttpResponse response;
    bool success, fingerPrintSuccess;
  } cases[] = {
      {{"", 200, "b"}, true, true},           {{"", 500, "b"}, true, true},
      {{"", 200, std::nullopt}, true, false}, {{"refused", 0, std::nullopt}, false, false},
      {{"cut off", 200, "b"}, false, false},
  };
  for (const auto& c : cases) {
    manager->sendDocument("d", sender, keep());
    http->completions.back()(c.response);
    manager->requestFingerPrintWithQzno({}, sender, keep());
    http->completions.back()(c.response);
    EXPECT_THAT(answers, IsEmpty()) << "nothing runs on the HTTP client's thread";
    device.dispatcher->run();
    const auto body = c.response.body.value_or("-");
    EXPECT_THAT(std::exchange(answers, {}), ElementsAre(Pair(c.success, body), Pair(c.fingerPrintSuccess, body)));
  }
}

TEST_F(NetworkManagerTest, completionsOutliveTheManagerAndMayThrowOrBeMissing) {
  manager->sendDocument("d", sender, keep());
  manager->sendDocument("d", sender, [](bool, HttpResponse) { throw std::runtime_error("from the caller"); });
  manager->sendDocument("d", sender, nullptr);
  manager.reset();
  for (const auto& completion : http->completions) completion({"", 200, "b"});
  EXPECT_NO_THROW(device.dispatcher->run());
  EXPECT_THAT(answers, ElementsAre(Pair(true, "b")));
  EXPECT_EQ(device.log->count("from the caller"), 1U);
}

TEST_F(NetworkManagerTest, whatAUrlCannotCarryFailsTheRequestWithTheUrl) {
  manager->requestAccessTokenWithServiceNumber(7, "com.example.My-App_2", sender, keep());
  EXPECT_EQ(line(), "GET https://c.example/token/v1/acsTokenRps.do?_qzno=7&_wPkg=com.example.My-App_2");
  http->requests.clear();
  std::vector<std::string> problems;
  for (const std::string package : {"My App", "caf\u00e9", "a\r\nX: y", "a\"b"}) {
    manager->requestAccessTokenWithServiceNumber(
        7, package, sender, [&](bool success, const auto& answer) { problems.push_back(success ? "" : answer.error); });
  }
  manager->receiveNotificationWithParams({{"pushSk", "s k"}}, {}, sender,
                                         [&](bool, const auto& answer) { problems.push_back(answer.error); });
  device.dispatcher->run();
  EXPECT_THAT(http->requests, IsEmpty());
  EXPECT_THAT(problems, testing::SizeIs(5));
  EXPECT_THAT(problems, testing::Each(testing::StartsWith("this is no URL: https://c.example/")));
  EXPECT_THAT(problems.front(), EndsWith("_wPkg=My App"));
}

TEST_F(NetworkManagerTest, aByteOrderMarkBeforeAnAnswerDoesNotCount) {
  EXPECT_THAT(NetworkManager::getResponseDictionary("\xEF\xBB\xBF{\"code\":\"RES001\"}"), Optional(testing::SizeIs(1)));
  EXPECT_THAT(NetworkManager::getResponseArray("\xEF\xBB\xBF[1,2]"), Optional(testing::SizeIs(2)));
  EXPECT_FALSE(NetworkManager::getResponseDictionary("\xEF\xBB\xBF"));
}

TEST_F(NetworkManagerTest, aRequestThatCannotBeMadeStillAnswersOnce) {
  http->broken = true;
  manager->sendDocument("d", sender, keep());
  device.dispatcher->run();
  EXPECT_THAT(answers, ElementsAre(Pair(false, "-")));
}

}  // namespace
}  // namespace zul
