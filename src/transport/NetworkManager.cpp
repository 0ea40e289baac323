#include "NetworkManager.h"

#include <fmt/format.h>

#include <boost/json/array.hpp>
#include <boost/json/object.hpp>
#include <boost/json/value.hpp>
#include <cstdlib>
#include <utility>

#include "AESCrypt.h"
#include "Json.h"
#include "PercentCoding.h"
#include "UploadBody.h"
#include "Utf8.h"
#include "zul/Deployment.h"
#include "zul/platform/Dispatcher.h"

namespace zul {

namespace {

using platform::HttpRequest;
using platform::HttpResponse;

constexpr std::string_view kSdkVersion = "1.1.5";
constexpr std::string_view kAuthKey = "hxQoPvNq4rTeLwbj";                        // agreed with the collector
constexpr std::array<std::string_view, 3> kAuthWords = {"TOKEN", "FRP", "ZUL"};  // by Auth
constexpr std::string_view kNull = "(null)";  // how the collector knows an absent query value

// Leaves out a value that is absent, and one that would break the line and so forge further headers.
void addHeader(HttpRequest& request, std::string name, std::optional<std::string> value) {
  constexpr std::string_view kLineBreakers("\r\n\0", 3);
  if (!value || value->find_first_of(kLineBreakers) != value->npos) return;
  request.headers.emplace_back(std::move(name), *std::move(value));
}

void setIfPresent(boost::json::object& object, std::string_view key, const std::optional<std::string>& value) {
  if (value) object[key] = *value;
}

std::string textOrNull(const boost::json::object& params, std::string_view key) {
  const auto* value = json::find(params, key);
  if (value && (value->is_int64() || value->is_uint64())) return json::text(*value);
  return json::string(params, key).value_or(std::string(kNull));
}

// Hosts pass the number on as a push service gave it: as a number or as text.
std::int64_t integerOf(const boost::json::object& params, std::string_view key) {
  if (const auto text = json::string(params, key)) return std::strtoll(text->c_str(), nullptr, 10);
  return json::integer(params, key);
}

}  // namespace

NetworkManager::NetworkManager(std::shared_ptr<platform::HttpClient> sdkUrlSession,
                               std::shared_ptr<platform::Dispatcher> dispatcher, const Deployment& deployment, Log log,
                               Dictionary zulAuthorizationKey, CollectorIdentity identity)
    : sdkUrlSession_(std::move(sdkUrlSession)),
      dispatcher_(std::move(dispatcher)),
      ZULApiUrl_(deployment.collectorBaseUrl),
      caFile_(deployment.caFile),
      log_(std::move(log)),
      zulAuthorizationKey_(std::move(zulAuthorizationKey)),
      identity_(std::move(identity)) {}

void NetworkManager::requestAccessTokenWithServiceNumber(std::int64_t serviceNumber, std::string_view package,
                                                         Completion completion) {
  start(Success::noError, std::move(completion), [&] {
    return request("GET",
                   fmt::format("{}/token/v1/acsTokenRps.do?_qzno={}&_wPkg={}", ZULApiUrl_, serviceNumber, package),
                   Auth::token, userAgent());
  });
}

void NetworkManager::sendDocument(std::string_view document, Completion completion) {
  start(Success::noError, std::move(completion), [&] {
    auto upload = request("POST", ZULApiUrl_ + "/zul/v1/dataRcv.do", Auth::zul, userAgent());
    addHeader(upload, "Content-Type", "application/octet-stream");
    upload.body = uploadBody(document);
    upload.streamBody = true;
    upload.cookies = false;
    return upload;
  });
}

void NetworkManager::sendErrorLogWithErrParams(const boost::json::object& params, Completion completion) {
  start(Success::noError, std::move(completion), [&] {
    // The one path without a version.
    auto errorLog = request("POST", ZULApiUrl_ + "/zul/errorRcv.do", Auth::zul, userAgent());
    errorLog.body = json::text(params);
    return errorLog;
  });
}

void NetworkManager::receiveNotificationWithParams(const boost::json::object& params, Completion completion) {
  start(Success::noError, std::move(completion), [&] {
    // The collector wants neither "arrivalTime" nor the UUID here. Only the token is percent-encoded.
    const auto pushToken = json::string(params, "pushToken");
    auto url = fmt::format("{}/zul/v1/pushClick.do?profileNo={}&pushNo={}&platform=IOS&pushToken={}&adid={}&pushSk={}",
                           ZULApiUrl_, integerOf(params, "profileNo"), textOrNull(params, "pushNo"),
                           (pushToken ? changeURLEncoding(*pushToken) : std::nullopt).value_or(std::string(kNull)),
                           getIdfa().value_or(std::string(kNull)), textOrNull(params, "pushSk"));
    log_.debug("URL: " + url);
    return request("POST", std::move(url), Auth::zul, userAgent());
  });
}

void NetworkManager::requestFingerPrintWithQzno(std::int64_t qzno, bool firstExcuteYN, Completion completion) {
  start(Success::noErrorAndBody, std::move(completion), [&] {
    boost::json::object postDic;
    postDic["_qzno"] = qzno;
    setIfPresent(postDic, "advtId", getIdfa());
    postDic["phone"] = identity_.phone();
    postDic["os"] = identity_.os();
    postDic["vendorId"] = getVendorId();
    if (firstExcuteYN) {
      postDic["isNew"] = true;
      setIfPresent(postDic, "clickTime", identity_.clickTime());
    }
    auto body = json::text(postDic);
    auto agent = userAgent();
    log_.debug("userAgent in requestFingerPrintWithQzno : " + agent);
    log_.debug("postDic in requestFingerPrintWithQzno : " + body);
    auto fingerPrint = request("POST", ZULApiUrl_ + "/frp/v1/fingerPrintRps.do", Auth::fingerprint, std::move(agent));
    fingerPrint.body = std::move(body);
    return fingerPrint;
  });
}

std::optional<std::string> NetworkManager::changeURLEncoding(std::string_view text) {
  if (!isUtf8(text)) return std::nullopt;
  return percentEncode(text);
}

std::optional<boost::json::object> NetworkManager::getResponseDictionary(const std::optional<std::string>& body) {
  return body ? json::parseObject(*body) : std::nullopt;
}

std::optional<boost::json::array> NetworkManager::getResponseArray(const std::optional<std::string>& body) {
  auto value = body ? json::parse(*body) : std::nullopt;
  if (!value || !value->is_array()) return std::nullopt;
  return std::move(value->get_array());
}

const std::optional<std::string>& NetworkManager::authType(Auth auth) {
  // Constants all three, but not of the constructor: the first use of the cipher library is slow, and the
  // constructor runs on the host's thread.
  std::call_once(authTypesOnce_, [this] {
    for (std::size_t i = 0; i < kAuthWords.size(); ++i) {
      authTypes_[i] = AESCrypt::AES256EncryptWithKey(kAuthWords[i], kAuthKey);
    }
  });
  return authTypes_[static_cast<std::size_t>(auth)];
}

std::string NetworkManager::userAgent() const {
  return fmt::format("ZUL/{}/{}/{}", kSdkVersion, identity_.phone(), identity_.os());
}

HttpRequest NetworkManager::request(std::string method, std::string url, Auth auth, std::string userAgent) {
  HttpRequest request;
  request.method = std::move(method);
  request.url = std::move(url);
  request.caFile = caFile_;
  addHeader(request, "authType", authType(auth));
  if (auth == Auth::zul) addHeader(request, "authToken", identity_.accessToken());
  addHeader(request, "User-Agent", std::move(userAgent));
  return request;
}

void NetworkManager::start(Success success, Completion completion, const std::function<HttpRequest()>& make) {
  // Holds on to all that it needs: the answer may come when this object is gone.
  const auto deliver = [success, completion = std::move(completion), dispatcher = dispatcher_,
                        log = log_](HttpResponse response) {
    log.guard([&] {
      const bool good = response.ok() && (success == Success::noError || response.body);
      dispatcher->async(platform::Dispatcher::Queue::global, [=, response = std::move(response)]() mutable {
        if (completion) log.guard([&] { completion(good, std::move(response)); });
      });
    });
  };
  bool sent = false;
  log_.guard([&] {
    sdkUrlSession_->send(make(), deliver);
    sent = true;
  });
  if (!sent) deliver({"the request could not be made", 0, std::nullopt});
}

}  // namespace zul
