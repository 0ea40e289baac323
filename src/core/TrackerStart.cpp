#include <string_view>

#include "Json.h"
#include "LocalDB.h"
#include "NHNetworkClock.h"
#include "SessionRecord.h"
#include "Tracker.h"
#include "ZULReachability.h"
#include "ZULUtil.h"
#include "zul/platform/Bundle.h"
#include "zul/platform/Dispatcher.h"

namespace zul {

namespace {

constexpr double kCompletionAfter = 5;      // seconds that the token and the fingerprint are waited for
constexpr double kEarlyEventsAfter = 1;     // seconds from there to the events recorded before initialization
constexpr int kMobileWebFingerprint = 102;  // service number that the parallel start-up asks with

constexpr std::string_view kNoAnswer = "Undefined";
constexpr std::string_view kUrlKey = "UIApplicationLaunchOptionsURLKey";
constexpr std::string_view kActivitiesKey = "UIApplicationLaunchOptionsUserActivityDictionaryKey";
constexpr std::string_view kActivityKey = "UIApplicationLaunchOptionsUserActivityKey";

std::string description(const Tracker::Launch& dictionary) {
  return dictionary ? dictionary->json() : "(null)";
}

using Queue = platform::Dispatcher::Queue;

}  // namespace

void Tracker::initEnd(const Launch& launchOptions) {
  locked([&](Fields& fields) { fields.launchOptions = launchOptions; });
  if (ZULinitYN_) {
    log_.debug("======already init done========");
    return;
  }
  start(launchOptions);
  uploads_.start();  // last, so that its reading does not hold up the start's
}

void Tracker::start(const Launch& launchOptions) {
  if (useMode_ == 3) {
    shortStart();
    return;
  }
  if (mustWaitForTrackingAnswer() && addObservers()) return;
  if (zulAuthorizationKey_.boolean("isDebug")) services_.debugMode = 1;
  services_.networkClock.synchronize();
  if (services_.reachability.isConnectedToNetwork()) requestIadInfo();

  firstExcute_ = !services_.db.documentWithID("Install").numberForKey("installTime");
  auto token = zulAuthorizationKey_.string("accessToken");
  if (token.value_or("").empty()) token = services_.db.documentWithID("AppInfo").stringForKey("accessToken");
  setInstallTimeAndNTP();
  if (services_.reachability.isConnectedToNetwork()) authorizationCheckWithAuthToken(token);

  log_.debug("launchOptions : " + description(launchOptions));
  readLaunchLink(launchOptions);

  checkToResetPushInfo();
  checkToResetDRInfo();
  checkToResetInternalCampaign();
  services_.dispatcher->after(kCompletionAfter, Queue::global, [this] { log_.guard([this] { completeStart(); }); });
}

bool Tracker::mustWaitForTrackingAnswer() {
  if (!zulAuthorizationKey_.boolean("ATTPopup")) return false;
  const bool answered = locked([](Fields& fields) { return fields.ATTAlertCheked != kNoAnswer; });
  const bool answeredBefore = services_.db.documentWithID("Identify").stringForKey("ATTPopupDone") == "Y";
  return !answered && !answeredBefore && !facebookAppIdCheck_.value_or("").empty();
}

bool Tracker::addObservers() {
  return locked([](Fields& fields) {
    if (fields.ATTAlertCheked != kNoAnswer) return false;
    ++fields.observers;
    return true;
  });
}

void Tracker::setATTAlertCheked(const std::string& answer) {
  const int observers = locked([&](Fields& fields) {
    fields.ATTAlertCheked = answer;
    return fields.observers;
  });
  for (int n = 0; n < observers; ++n) {
    log_.debug("NSKeyValueChangeNewKey observer success : " + answer);
    services_.dispatcher->async(Queue::main, [this] {
      log_.guard([this] { initEnd(locked([](Fields& fields) { return fields.launchOptions; })); });
    });
  }
}

void Tracker::readLaunchLink(const Launch& launchOptions) {
  if (!launchOptions) {
    log_.debug("DEBUG_ZUL_launchOption_empty");
    requestFingerPrintByDeeplink(false);
    return;
  }
  if (const auto url = launchOptions->string(kUrlKey); url && !url->empty()) {
    log_.debug("DEBUG_ZUL_deepLinkUrlStr: " + *url);
    if (firstExcute_) {
      requestFingerPrintByDeeplink(true);
      parseDeepLink(url);
    } else {
      fingerPrintRequestDone_ = true;
    }
    return;
  }
  if (const auto universalLink = launchOptions->dictionary(kActivitiesKey); !universalLink.empty()) {
    log_.debug("DEBUG_ZUL_universalLink: " + universalLink.json());
    const auto url = universalLink.dictionary(kActivityKey).string("webpageURL");
    log_.debug("DEBUG_ZUL_universalLinkurl: " + url.value_or("(null)"));
    if (firstExcute_) {
      parseDeepLink(url);
    } else {
      fingerPrintRequestDone_ = true;
    }
    return;
  }
  log_.debug("DEBUG_ZUL_deeplinkIsNot_universalNot");
  requestFingerPrintByDeeplink(false);
}

void Tracker::completeStart() {
  if (!NTPtimeGetDone_.exchange(true)) setLocalInstallTime();
  log_.info(std::string("accessTokenRequestDone: ") + (accessTokenRequestDone_ ? "1" : "0"));
  log_.info(std::string("fingerPrintRequestDone: ") + (fingerPrintRequestDone_ ? "1" : "0"));
  const bool completedBefore = ZULinitYN_;
  if (accessTokenRequestDone_) ZULinitYN_ = true;
  log_.debug(std::string("ZULinitYN: ") + (ZULinitYN_ ? "1" : "0"));
  checkInstallReferrerOrder();
  if (checkNewSession()) beginSessionIfExpired(1);
  if (completedBefore) return;  // the host initialized twice; the events before were dealt with then
  if (blockingLogEventCallBeforeInit_.exchange(false)) {
    log_.debug(
        "Because the BlockingLogEventCallBeforeSdkInitComplete value is YES , the entireExceptionData was ignored.");
    exceptionDataSend_ = true;
  } else {
    releaseEventsBeforeInit();
  }
}

void Tracker::releaseEventsBeforeInit() {
  const auto document = services_.db.documentWithID("DataBeforeInit");
  const auto& recorded = document.valueForKey("entireExceptionData");
  if (!recorded.is_array()) return;
  locked([&](Fields& fields) {
    fields.exceptionJsonList.clear();
    for (const auto& payload : recorded.get_array()) {
      if (payload.is_object()) fields.exceptionJsonList.push_back(payload.get_object());
    }
  });
  services_.dispatcher->after(kEarlyEventsAfter, Queue::global, [this] {
    log_.guard([this] {
      exceptionDataSend_ = true;
      sendToServerWithPageYN(false);
    });
  });
}

void Tracker::shortStart() {
  const bool installed = services_.db.documentWithID("Install").numberForKey("installTime").has_value();
  if (!installed) storeInstallTime(services_.util.currentTimeSec() * 1000);
  takeToken("offlineTokenValue");
  if (checkNewSession()) beginSessionIfExpired(2);
}

// ---- access token

void Tracker::authorizationCheckWithAuthToken(const std::optional<std::string>& token) {
  accessTokenRequestDone_ = false;
  if (!token.value_or("").empty()) {
    takeToken(token);
    accessTokenRequestDone_ = true;
  } else {
    // Starting a request computes its headers; the host's thread is spared that.
    services_.dispatcher->async(Queue::global, [this] { log_.guard([this] { requestToken(); }); });
  }
}

void Tracker::takeToken(const std::optional<std::string>& token) {
  services_.db.transaction([&] {
    services_.db.replace("AppInfo", [&](MutableDocument& appInfo) { appInfo.setString(token, "accessToken"); });
    sessionController_.saveAppInfo(zulAuthorizationKey_);
  });
}

void Tracker::requestToken() {
  networkManager_.requestAccessTokenWithServiceNumber(
      zulAuthorizationKey_.integer("serviceNumber"), services_.bundle->bundleIdentifier(),
      [this](bool success, const platform::HttpResponse& response) {
        if (!success) {
          sendErrorLog("AccessToken Request Error", "DEBUG_ZUL_REQUEST_ACCESSTOKEN: AccessToken Request Error");
          return;
        }
        const auto answer = NetworkManager::getResponseDictionary(response.body);
        log_.debug("DEBUG_ZUL_REQUEST_ACCESSTOKEN: " + (answer ? json::text(*answer) : "(null)"));
        const auto token = answer ? json::string(*answer, "token") : std::nullopt;
        takeToken(token);
        if (!token.value_or("").empty()) accessTokenRequestDone_ = true;
      });
}

// ---- install time

void Tracker::setInstallTimeAndNTP() {
  if (services_.reachability.isConnectedToNetwork()) {
    createUpdateTimer();
  } else {
    setLocalInstallTime();
  }
}

void Tracker::setLocalInstallTime() {
  if (firstExcute_) {
    storeInstallTime(services_.util.currentTimeSecMulti1000());
  } else {
    services_.db.update("Install", [](MutableDocument& install) { install.setDouble(0, "timeOffset"); });
  }
  NTPtimeGetDone_ = true;
}

// A record that does not exist yet reads the install time when it is made.
void Tracker::storeInstallTime(double milliseconds) {
  services_.db.update("Install", [&](MutableDocument& install) { install.setDouble(milliseconds, "installTime"); });
  services_.record.editExisting([&](SessionJson& record) { record.installTime = json::truncate(milliseconds); });
}

// ---- parallel variant

void Tracker::asyncMultiTask(const std::optional<std::string>& authToken) {
  constexpr int kTasks = 4;
  auto left = std::make_shared<std::atomic<int>>(kTasks);
  const auto leave = [this, left] {
    if (--*left > 0) return;
    services_.dispatcher->async(Queue::main, [this] {
      log_.guard([this] {
        log_.debug("All group tasks are done!");
        checkInstallReferrerOrder();
        if (checkNewSession()) beginSessionIfExpired(1);
        releaseEventsBeforeInit();
      });
    });
  };
  for (int index = 0; index < kTasks; ++index) {
    services_.dispatcher->async(Queue::global, [this, index, authToken, leave] {
      log_.guard([&] { doAyncTask(index, authToken, [] {}); });
      leave();
    });
  }
}

void Tracker::doAyncTask(int index, const std::optional<std::string>& authToken, const std::function<void()>& block) {
  log_.debug("Group task started..." + std::to_string(index));
  log_.debug("Current thread is not main thread");
  if (index == 1) setInstallTimeAndNTP();
  if (index == 2 && services_.reachability.isConnectedToNetwork()) authorizationCheckWithAuthToken(authToken);
  if (index == 3) requestFingerPrintByDeeplinkInWeb(false, kMobileWebFingerprint);
  if (block) block();
}

}  // namespace zul
