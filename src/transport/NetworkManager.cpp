#include "NetworkManager.h"

#include <fmt/format.h>

#include <algorithm>
#include <boost/json/array.hpp>
#include <boost/json/object.hpp>
#include <boost/json/value.hpp>
#include <cstdlib>
#include <new>
#include <utility>

#include "AESCrypt.h"
#include "Json.h"
#include "PercentCoding.h"
#include "Utf8.h"
#include "Version.h"
#include "zul/Deployment.h"

namespace zul {

namespace {

using platform::HttpRequest;
using platform::HttpResponse;

constexpr std::size_t kSmallDocument = 16 * 1024;  // that of a payload of ordinary size has 4 KB

void addHeader(HttpRequest& request, std::string_view name, std::optional<std::string> value) {
  if (value && NetworkManager::fitsHeader(*value)) request.headers.emplace_back(name, *std::move(value));
}

// How the collector knows an absent query value.
std::string orNull(const std::optional<std::string>& value) {
  return value ? *value : std::string(wire::kNull);
}

void setIfPresent(boost::json::object& object, std::string_view key, const std::optional<std::string>& value) {
  if (value) object[key] = *value;
}

// Numbers and booleans as a push service's own applications write them: 2.5, 2 for 2.0, 1 for true.
std::string textOrNull(const boost::json::object& params, std::string_view key) {
  const auto* value = json::find(params, key);
  if (value && (value->is_int64() || value->is_uint64())) return json::text(*value);
  if (value && value->is_double()) return fmt::format("{}", value->get_double());
  if (value && value->is_bool()) return value->get_bool() ? "1" : "0";
  return orNull(json::string(params, key));
}

// Hosts pass the number on as a push service gave it: as a number or as text.
std::int64_t integerOf(const boost::json::object& params, std::string_view key) {
  if (const auto text = json::string(params, key)) return std::strtoll(text->c_str(), nullptr, 10);
  return json::integer(params, key);
}

// The characters that a URL may have; whoever puts others into it has to encode them.
bool isUrlText(std::string_view url) {
  constexpr std::string_view kSigns = "-._~:/?#[]@!$&'()*+,;=%";
  return std::all_of(url.begin(), url.end(), [&](char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || kSigns.find(c) != kSigns.npos;
  });
}

// Some servers begin a text with it.
std::string_view withoutByteOrderMark(std::string_view text) {
  constexpr std::string_view kMark = "\xEF\xBB\xBF";
  return text.starts_with(kMark) ? text.substr(kMark.size()) : text;
}

// `sender` is null where the request's own headers tell who sends it.
std::string fingerPrintBody(const FingerprintQuery& query, const Sender* sender) {
  boost::json::object postDic;
  postDic["_qzno"] = query.qzno;
  setIfPresent(postDic, "advtId", query.advtId);
  if (sender) {
    postDic["phone"] = sender->phone;
    postDic["os"] = sender->os;
  }
  postDic["vendorId"] = query.vendorId;
  if (query.firstExcute) {
    postDic["isNew"] = true;
    setIfPresent(postDic, "clickTime", query.clickTime);
  }
  return json::text(postDic);
}

std::string userAgent(const Sender& sender) {
  return fmt::format("{}/{}/{}/{}", wire::kUserAgentProduct, kSdkVersion, sender.phone, sender.os);
}

}  // namespace

NetworkManager::NetworkManager(std::shared_ptr<platform::HttpClient> sdkUrlSession, Tasks tasks,
                               const Deployment& deployment, Log log, Dictionary zulAuthorizationKey)
    : sdkUrlSession_(std::move(sdkUrlSession)),
      tasks_(std::move(tasks)),
      ZULApiUrl_(deployment.collectorBaseUrl),
      caFile_(deployment.caFile),
      log_(std::move(log)),
      zulAuthorizationKey_(std::move(zulAuthorizationKey)) {}

void NetworkManager::requestAccessTokenWithServiceNumber(std::int64_t serviceNumber, std::string_view package,
                                                         const Sender& sender, Completion completion) {
  start(Success::noError, std::move(completion),
        [&] { return request(wire::kToken, fmt::format("?_qzno={}&_wPkg={}", serviceNumber, package), sender); });
}

void NetworkManager::sendDocument(std::string document, const Sender& sender, Completion completion) {
  const auto text = std::make_shared<const std::string>(std::move(document));
  sendDocument([text, rest = std::string_view(*text)]() mutable { return std::exchange(rest, {}); },
               text->size() <= kSmallDocument, sender, std::move(completion));
}

void NetworkManager::sendDocument(TextPieces document, bool isSmall, const Sender& sender, Completion completion) {
  start(Success::noError, std::move(completion), [&] {
    auto upload = request(wire::kUpload, "", sender);
    addHeader(upload, wire::kContentType, std::string(wire::kUploadContentType));
    upload.bodySource = std::make_shared<UploadBody>(std::move(document), isSmall);
    upload.cookies = false;
    return upload;
  });
}

void NetworkManager::sendErrorLogWithErrParams(const boost::json::object& params, const Sender& sender,
                                               Completion completion) {
  start(Success::noError, std::move(completion), [&] {
    auto errorLog = request(wire::kErrorLog, "", sender);
    errorLog.body = json::text(params);
    return errorLog;
  });
}

void NetworkManager::receiveNotificationWithParams(const boost::json::object& params,
                                                   const std::optional<std::string>& adid, const Sender& sender,
                                                   Completion completion) {
  start(Success::noError, std::move(completion), [&] {
    // The collector wants neither "arrivalTime" nor the UUID here. Only the token is percent-encoded.
    const auto pushToken = json::string(params, "pushToken");
    auto click = request(wire::kPushClick,
                         fmt::format("?profileNo={}&pushNo={}&platform=IOS&pushToken={}&adid={}&pushSk={}",
                                     integerOf(params, "profileNo"), textOrNull(params, "pushNo"),
                                     orNull(pushToken ? changeURLEncoding(*pushToken) : std::nullopt), orNull(adid),
                                     textOrNull(params, "pushSk")),
                         sender);
    log_.debug("URL: " + click.url, ZUL_HERE);
    return click;
  });
}

void NetworkManager::requestFingerPrintWithQzno(const FingerprintQuery& query, const Sender& sender,
                                                Completion completion) {
  start(Success::noErrorAndBody, std::move(completion), [&] {
    auto body = fingerPrintBody(query, &sender);
    log_.debug("userAgent in requestFingerPrintWithQzno : " + userAgent(sender), ZUL_HERE);
    log_.debug("postDic in requestFingerPrintWithQzno : " + body, ZUL_HERE);
    auto fingerPrint = request(wire::kFingerprint, "", sender);
    fingerPrint.body = std::move(body);
    return fingerPrint;
  });
}

HttpRequest NetworkManager::webFingerPrintRequest(const FingerprintQuery& query, const std::string& trackingHost) {
  HttpRequest request;
  request.method = wire::kFingerprint.method;
  request.url = fmt::format("{}{}", trackingHost, wire::kFingerprint.path);
  request.caFile = caFile_;
  addHeader(request, wire::kAuthType, authType(wire::kFingerprint.authWord));
  request.body = fingerPrintBody(query, nullptr);
  log_.debug("postDic in requestFingerPrintWithQzno : " + *request.body, ZUL_HERE);
  return request;
}

bool NetworkManager::fitsHeader(std::string_view value) {
  return value.find_first_of(std::string_view("\r\n\0", 3)) == value.npos;
}

std::optional<std::string> NetworkManager::changeURLEncoding(std::string_view text) {
  if (!isUtf8(text)) return std::nullopt;
  return percentEncode(text);
}

std::optional<boost::json::object> NetworkManager::getResponseDictionary(const std::optional<std::string>& body) {
  return body ? json::parseObject(withoutByteOrderMark(*body)) : std::nullopt;
}

std::optional<boost::json::array> NetworkManager::getResponseArray(const std::optional<std::string>& body) {
  auto value = body ? json::parse(withoutByteOrderMark(*body)) : std::nullopt;
  if (!value || !value->is_array()) return std::nullopt;
  return std::move(value->get_array());
}

const std::optional<std::string>& NetworkManager::authType(std::string_view word) {
  // Constants all, but not of the constructor: the first use of the cipher library is slow, and the
  // constructor runs on the host's thread.
  std::call_once(authTypesOnce_, [this] {
    for (const auto& endpoint : {wire::kToken, wire::kFingerprint, wire::kUpload}) {
      authTypes_.push_back({endpoint.authWord, AESCrypt::AES256EncryptWithKey(endpoint.authWord, wire::kAuthKey)});
    }
  });
  return std::find_if(authTypes_.begin(), authTypes_.end(), [word](const auto& made) { return made.word == word; })
      ->header;
}

HttpRequest NetworkManager::request(const wire::Endpoint& endpoint, std::string_view query, const Sender& sender) {
  HttpRequest request;
  request.method = endpoint.method;
  request.url = fmt::format("{}{}{}", ZULApiUrl_, endpoint.path, query);
  request.caFile = caFile_;
  addHeader(request, wire::kAuthType, authType(endpoint.authWord));
  if (endpoint.carriesToken) addHeader(request, wire::kAuthToken, sender.accessToken);
  addHeader(request, wire::kUserAgent, userAgent(sender));
  return request;
}

void NetworkManager::start(Success success, Completion completion, const std::function<HttpRequest()>& make) {
  // Holds on to all that it needs: the answer may come when this object is gone.
  const auto deliver = [success, completion = std::move(completion), tasks = tasks_,
                        log = log_](HttpResponse response) {
    log.guard(
        [&] {
          const bool good = response.ok() && (success == Success::noError || response.body);
          try {
            tasks.async(
                Tasks::Queue::global,
                [=, response = std::move(response)]() mutable {
                  if (completion) completion(good, std::move(response));
                },
                ZUL_HERE);
          } catch (const std::bad_alloc&) {  // whoever waits for it must learn that it is over
            if (completion) completion(false, {"no memory", 0, std::nullopt});  // a text that takes none
          }
        },
        ZUL_HERE);
  };
  std::string problem = "the request could not be made";
  log_.guard(
      [&] {
        auto request = make();
        if (isUrlText(request.url)) {
          sdkUrlSession_->send(std::move(request), deliver);
          problem.clear();
        } else {
          problem = "this is no URL: " + request.url;
        }
      },
      ZUL_HERE);
  if (!problem.empty()) deliver({problem, 0, std::nullopt});
}

}  // namespace zul
