#include "SearchAds.h"

#include <exception>
#include <utility>

#include "Json.h"
#include "SystemVersion.h"
#include "ZULUtil.h"
#include "zul/Deployment.h"
#include "zul/platform/AdServices.h"
#include "zul/platform/Device.h"
#include "zul/platform/HttpClient.h"

namespace zul {

namespace {

constexpr double kTimeout = 3.0;                        // seconds: a start-up's payload waits no longer for it
constexpr std::size_t kMaxDepth = json::kMaxDepth / 2;  // it has to fit into a payload, which is read back
constexpr const char* kPath = "/api/v1/";

bool hasTokens(platform::Device& device) {
  return isAtLeast(device.system().systemVersion, 14, 3);
}

}  // namespace

// The platform's own answers may take their time.
void SearchAds::requestIadInfo() {
  if (sources_.deployment.searchAdsBaseUrl.empty()) return;
  tasks_.async(
      Tasks::Queue::global, [this] { ask(); }, ZUL_HERE);
}

void SearchAds::ask() {
  if (!hasTokens(*sources_.device)) {
    askOlderSystem();
  } else if (const auto token = getAppleAttributionToken()) {
    log_.debug("AAAToken in requestIadInfo: " + *token, ZUL_HERE);
    askService(*token);
  }
}

std::optional<std::string> SearchAds::getAppleAttributionToken() {
  if (!hasTokens(*sources_.device)) return std::nullopt;
  try {
    return sources_.adServices->attributionToken();
  } catch (const std::exception& e) {
    log_.error(std::string("The search-ads token: ") + e.what(), ZUL_HERE);
  } catch (...) {
    log_.error("The search-ads token: unknown exception", ZUL_HERE);
  }
  return std::nullopt;
}

void SearchAds::askService(const std::string& token) {
  platform::HttpRequest request;
  request.method = "POST";
  request.url = sources_.deployment.searchAdsBaseUrl + kPath;
  request.headers = {{"Content-Type", "application/json"}};  // which the body is not: the service wants both so
  request.body = token;
  request.caFile = sources_.deployment.caFile;
  request.timeout = kTimeout;
  sources_.http->send(std::move(request), [this, token, tasks = tasks_](platform::HttpResponse response) {
    tasks.async(
        Tasks::Queue::global, [this, token, response = std::move(response)] { takeAnswer(token, response); }, ZUL_HERE);
  });
}

// Whatever the service says, and with whatever status, was received; what is no JSON says nothing.
void SearchAds::takeAnswer(const std::string& token, const platform::HttpResponse& response) {
  if (!response.ok() || !response.body) {
    log_.error("The search-ads attribution at " + sources_.deployment.searchAdsBaseUrl + ": " +
                   (response.ok() ? "an answer without a body" : response.error),
               ZUL_HERE);
    return;
  }
  auto info = json::parse(*response.body, kMaxDepth);
  log_.debug("AAAttribution Dictionary: " + (info ? json::text(*info) : "(null)"), ZUL_HERE);
  received_(
      {info ? *std::move(info) : boost::json::value(), token, json::truncate(sources_.util.currentTimeSecMulti1000())});
  requestIAdDone_ = true;
}

void SearchAds::askOlderSystem() {
  sources_.adServices->requestAttributionDetails([this](std::optional<Dictionary> details, const std::string& error) {
    log_.guard(
        [&] {
          if (!error.empty() || !details) return;
          log_.debug("attributionDetails: " + details->json(), ZUL_HERE);
          const auto& members = DictionaryAccess::object(*details);
          const auto* const record = json::find(members, "Version3.1");
          received_({record ? *record : boost::json::value(), std::nullopt, 0});
          requestIAdDone_ = true;
        },
        ZUL_HERE);
  });
}

}  // namespace zul
