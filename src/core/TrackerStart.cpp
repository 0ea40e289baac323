#include <string_view>

#include "Json.h"
#include "Keys.h"
#include "LocalDB.h"
#include "NHNetworkClock.h"
#include "SessionRecord.h"
#include "Tracker.h"
#include "ZULReachability.h"
#include "ZULUtil.h"
#include "zul/Platform.h"
#include "zul/platform/Bundle.h"

namespace zul {

using namespace keys;

namespace {

constexpr double kCompletionAfter = 5;   // seconds that the token and the fingerprint are waited for
constexpr double kEarlyEventsAfter = 1;  // seconds from there to the events recorded before initialization

constexpr std::int64_t kParallelServiceNumber = 102;  // of the parallel variant's fingerprint request

constexpr std::string_view kNoAnswer = "Undefined";
constexpr std::string_view kUrlKey = "UIApplicationLaunchOptionsURLKey";
constexpr std::string_view kActivitiesKey = "UIApplicationLaunchOptionsUserActivityDictionaryKey";
constexpr std::string_view kActivityKey = "UIApplicationLaunchOptionsUserActivityKey";

std::string description(const Tracker::Launch& dictionary) {
  return dictionary ? dictionary->json() : "(null)";
}

using Queue = Tasks::Queue;

}  // namespace

void Tracker::initEnd(const Launch& launchOptions) {
  {
    auto options = launchOptions;
    const MutexLock lock(mutex_);
    launchOptions_.swap(options);
  }
  if (ZULinitYN_) {
    log_.debug("======already init done========", ZUL_HERE);
    return;
  }
  if (mustWaitForStore()) return;
  start(launchOptions);
  uploads_.start();  // last, so that its reading does not hold up the start's
}

// Whether this is a first run, and whose, is for the stored state to say. An unreadable one says nothing.
bool Tracker::mustWaitForStore() {
  if (services_.db.isReadable()) return false;
  {
    const MutexLock lock(mutex_);
    if (eventsWaiting_) return true;
    eventsWaiting_.emplace();
  }
  services_.db.whenReadable([this] { initAgain(); });
  return true;
}

// What comes before is kept, and has its turn behind the start-up that waits for the same.
void Tracker::whenReadable(std::function<void()> task) {
  if (services_.db.isReadable()) {
    task();
    return;
  }
  services_.db.whenReadable([this, task = std::move(task)] { services_.tasks.async(Queue::main, task, ZUL_HERE); });
}

void Tracker::editRecord(const std::function<void(SessionJson&)>& edit) {
  whenReadable([this, edit] { services_.record.edit(edit); });
}

void Tracker::initAgain() {
  services_.tasks.async(
      Queue::main,
      [this] {
        Launch launchOptions;
        {
          const MutexLock lock(mutex_);
          launchOptions = launchOptions_;
        }
        initEnd(launchOptions);
      },
      ZUL_HERE);
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
  firstExcute_ = !services_.db.documentWithID(install::kDocument).numberForKey(install::kInstallTime);
  auto token = zulAuthorizationKey_.string(appinfo::kAccessToken);
  if (token.value_or("").empty()) {
    token = services_.db.documentWithID(appinfo::kDocument).stringForKey(appinfo::kAccessToken);
  }
  setInstallTimeAndNTP();
  if (services_.reachability.isConnectedToNetwork()) authorizationCheckWithAuthToken(token);

  log_.debug("launchOptions : " + description(launchOptions), ZUL_HERE);
  readLaunchLink(launchOptions);

  // What has expired while the application was closed, in one commit.
  services_.db.transaction([this] {
    checkToResetPushInfo();
    checkToResetDRInfo();
    checkToResetInternalCampaign();
    checkInAppMessageValidation();
  });

  services_.tasks.after(
      kCompletionAfter, Queue::global, [this] { completeStart(); }, ZUL_HERE);
}

bool Tracker::mustWaitForTrackingAnswer() {
  if (!zulAuthorizationKey_.boolean("ATTPopup")) return false;
  if (trackingAnswered()) return false;
  if (facebookAppIdCheck_.value_or("").empty()) return false;
  const MutexLock lock(mutex_);
  return ATTAlertCheked_ == kNoAnswer;
}

bool Tracker::addObservers() {
  const MutexLock lock(mutex_);
  if (ATTAlertCheked_ != kNoAnswer) return false;
  ++observers_;
  return true;
}

void Tracker::setATTAlertCheked(const std::string& answer) {
  int observers = 0;
  {
    const MutexLock lock(mutex_);
    ATTAlertCheked_ = answer;
    observers = observers_;
  }
  for (int n = 0; n < observers; ++n) {
    log_.debug("NSKeyValueChangeNewKey observer success : " + answer, ZUL_HERE);
    initAgain();
  }
}

void Tracker::readLaunchLink(const Launch& launchOptions) {
  if (!launchOptions) {
    log_.debug("DEBUG_ZUL_launchOption_empty", ZUL_HERE);
    requestFingerPrintByDeeplink(false);
    return;
  }
  if (const auto url = launchOptions->string(kUrlKey); url && !url->empty()) {
    log_.debug("DEBUG_ZUL_deepLinkUrlStr: " + *url, ZUL_HERE);
    if (firstExcute_) {
      requestFingerPrintByDeeplink(true);
      parseDeepLink(url);
    } else {
      fingerprint_.setRequestDone();
    }
    return;
  }
  if (const auto universalLink = launchOptions->dictionary(kActivitiesKey); !universalLink.empty()) {
    log_.debug("DEBUG_ZUL_universalLink: " + universalLink.json(), ZUL_HERE);
    const auto url = universalLink.dictionary(kActivityKey).string("webpageURL");
    log_.debug("DEBUG_ZUL_universalLinkurl: " + url.value_or("(null)"), ZUL_HERE);
    if (firstExcute_) {
      parseDeepLink(url);
    } else {
      fingerprint_.setRequestDone();
    }
    return;
  }
  log_.debug("DEBUG_ZUL_deeplinkIsNot_universalNot", ZUL_HERE);
  requestFingerPrintByDeeplink(false);
}

void Tracker::completeStart() {
  services_.db.transaction([this] {
    if (!NTPtimeGetDone_) setLocalInstallTime();
  });
  log_.info(std::string("accessTokenRequestDone: ") + (accessTokenRequestDone_ ? "1" : "0"), ZUL_HERE);
  log_.info(std::string("fingerPrintRequestDone: ") + (fingerPrintRequestDone() ? "1" : "0"), ZUL_HERE);
  if (accessTokenRequestDone_) ZULinitYN_ = true;
  log_.debug(std::string("ZULinitYN: ") + (ZULinitYN_ ? "1" : "0"), ZUL_HERE);
  checkInstallReferrerOrder();
  if (checkNewSession()) beginSessionIfExpired(1);
  if (blockingLogEventCallBeforeInit_.exchange(false)) {
    log_.debug(
        "Because the BlockingLogEventCallBeforeSdkInitComplete value is YES , the entireExceptionData was ignored.",
        ZUL_HERE);
    earlyEvents_.setExceptionDataSend();
    log_.info("With them this process sends no further event of its own.", ZUL_HERE);
    dropEventsThatWaited("early events are blocked");
  } else {
    releaseEventsBeforeInit();
  }
  if (!ZULinitYN_) dropEventsThatWaited("it has no access token");
  sendEventsThatWaited();
}

bool Tracker::waitsForStore(const Event& event) {
  const MutexLock lock(mutex_);
  if (eventsWaiting_) eventsWaiting_->push_back(event);
  return eventsWaiting_.has_value();
}

void Tracker::sendEventsThatWaited() {
  std::optional<std::vector<Event>> events;
  {
    const MutexLock lock(mutex_);
    events.swap(eventsWaiting_);
  }
  if (!events) return;
  for (const auto& event : *events) report(event);
}

void Tracker::dropEventsThatWaited(const char* why) noexcept {
  std::optional<std::vector<Event>> events;
  {
    const MutexLock lock(mutex_);
    events.swap(eventsWaiting_);
  }
  if (!events || events->empty()) return;
  log_.guard(
      [&] {
        log_.error(std::to_string(events->size()) + " events are lost that waited for the start-up: " + why + ".",
                   ZUL_HERE);
      },
      ZUL_HERE);
}

void Tracker::releaseEventsBeforeInit() {
  if (!earlyEvents_.load()) return;
  services_.tasks.after(
      kEarlyEventsAfter, Queue::global,
      [this] {
        earlyEvents_.setExceptionDataSend();
        log_.info("From now on this process sends the recorded events in the place of its own.", ZUL_HERE);
        sendToServerWithPageYN(false);
      },
      ZUL_HERE);
}

void Tracker::shortStart() {
  const bool installed =
      services_.db.documentWithID(install::kDocument).numberForKey(install::kInstallTime).has_value();
  if (!installed) storeInstallTime(services_.util.currentTimeSec() * 1000);
  takeToken("offlineTokenValue");
  if (checkNewSession()) beginSessionIfExpired(2);
  dropEventsThatWaited("\"useMode\" 3 reports nothing");
}

// ---- access token

void Tracker::authorizationCheckWithAuthToken(const std::optional<std::string>& token) {
  accessTokenRequestDone_ = false;
  if (!token.value_or("").empty()) {
    takeToken(token);
    accessTokenRequestDone_ = true;
  } else {
    // Starting a request computes its headers; the host's thread is spared that.
    services_.tasks.async(
        Queue::global, [this] { requestToken(); }, ZUL_HERE);
  }
}

void Tracker::takeToken(const std::optional<std::string>& token) {
  if (!NetworkManager::fitsHeader(token.value_or(""))) {
    log_.error(
        "The access token has a line break in it: requests go without it. " + json::text(boost::json::value(*token)),
        ZUL_HERE);
  }
  services_.db.transaction([&] {
    services_.db.replace(appinfo::kDocument,
                         [&](MutableDocument& document) { document.setString(token, appinfo::kAccessToken); });
    sessionController_.saveAppInfo(zulAuthorizationKey_);
  });
}

void Tracker::requestToken() {
  networkManager_.requestAccessTokenWithServiceNumber(
      serviceNumber_, services_.platform.bundle->bundleIdentifier(), services_.record.environment().sender(),
      [this](bool success, const platform::HttpResponse& response) {
        if (!success) {
          tell("The request for an access token did not reach", response.error);
          errors_.send("AccessToken Request Error", [this](bool) {
            log_.debug("DEBUG_ZUL_REQUEST_ACCESSTOKEN: AccessToken Request Error", ZUL_HERE);
          });
          return;
        }
        const auto answer = NetworkManager::getResponseDictionary(response.body);
        log_.debug("DEBUG_ZUL_REQUEST_ACCESSTOKEN: " + (answer ? json::text(*answer) : "(null)"), ZUL_HERE);
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
    services_.db.update(install::kDocument,
                        [](MutableDocument& document) { document.setDouble(0, install::kTimeOffset); });
  }
  NTPtimeGetDone_ = true;
}

// A record that does not exist yet reads the install time when it is made.
void Tracker::storeInstallTime(double milliseconds) {
  services_.record.set<&SessionJson::installTime>(milliseconds);
}

// ---- parallel variant

void Tracker::asyncMultiTask(const std::optional<std::string>& authToken) {
  constexpr int kTasks = 4;
  auto left = std::make_shared<std::atomic<int>>(kTasks);
  const auto leave = [this, left] {
    if (--*left > 0) return;
    services_.tasks.async(
        Queue::main,
        [this] {
          log_.debug("All group tasks are done!", ZUL_HERE);
          checkInstallReferrerOrder();
          if (checkNewSession()) beginSessionIfExpired(1);
          releaseEventsBeforeInit();
        },
        ZUL_HERE);
  };
  for (int index = 0; index < kTasks; ++index) {
    services_.tasks.async(
        Queue::global,
        [this, index, authToken, leave] {
          log_.guard([&] { doAyncTask(index, authToken, [] {}); }, ZUL_HERE);
          leave();
        },
        ZUL_HERE);
  }
}

void Tracker::doAyncTask(int index, const std::optional<std::string>& authToken, const std::function<void()>& block) {
  log_.debug("Group task started..." + std::to_string(index), ZUL_HERE);
  log_.debug(Tasks::isOnMain() ? "Current thread is main thread" : "Current thread is not main thread", ZUL_HERE);
  if (index == 1) setInstallTimeAndNTP();
  if (index == 2 && services_.reachability.isConnectedToNetwork()) authorizationCheckWithAuthToken(authToken);
  if (index == 3) requestFingerPrintByDeeplinkInWeb(false, kParallelServiceNumber);
  if (block) block();
}

}  // namespace zul
