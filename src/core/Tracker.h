#pragma once

#include <atomic>
#include <boost/json/object.hpp>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "Log.h"
#include "NetworkManager.h"
#include "SessionController.h"
#include "SessionPayload.h"
#include "UploadQueue.h"
#include "zul/Dictionary.h"

namespace zul {

class CustomWKWebViewConfiguration;
class DeferredLinkManager;
struct InternalCampaign;
class LocalDB;
class NHNetworkClock;
class SessionRecord;
class ZULReachability;
class ZULUtil;
struct User;
namespace platform {
class Bundle;
class Dispatcher;
class HttpClient;
class Timer;
}  // namespace platform

/// What a Tracker works with. The Runtime owns it all and outlives the Tracker.
struct TrackerServices {
  std::shared_ptr<platform::Dispatcher> dispatcher;
  std::shared_ptr<platform::HttpClient> http;
  std::shared_ptr<platform::Bundle> bundle;
  const Deployment& deployment;
  LocalDB& db;
  SessionRecord& record;
  const ZULUtil& util;
  const ZULReachability& reachability;
  NHNetworkClock& networkClock;
  DeferredLinkManager& deferredLinks;
  CustomWKWebViewConfiguration& webView;
  std::atomic<int>& debugMode;
  const std::atomic<bool>& stopping;
  Log log;
};

/// The centre of the library: start-up, the one-second timer, sessions, payloads and their upload.
///
/// Any thread may call any operation. Flags are atomic, what is larger stands behind a lock that covers the
/// access alone. What an operation does is done on the caller's thread unless its comment says otherwise;
/// uploads are built and sent in the background.
class Tracker {
 public:
  using Launch = std::optional<Dictionary>;
  using Object = boost::json::object;

  explicit Tracker(TrackerServices services);
  ~Tracker();

  /// The process's Tracker, made on first use; and the same without making it, null before.
  static Tracker& sharedInstance();
  static Tracker* getSharedInstance() noexcept;

  /// Tells the log what it was made with; to be called once, right after.
  void announce();

  // ---- start-up (TrackerStart.cpp)

  /// The start-up sequence. Schedules the step that completes it, 5 seconds later in the background.
  void initEnd(const Launch& launchOptions);
  /// Stores `token`, or asks the collector for one when there is none.
  void authorizationCheckWithAuthToken(const std::optional<std::string>& token);
  void setInstallTimeAndNTP();
  void setLocalInstallTime();
  /// Has `initEnd` run again on the main queue when the tracking-authorization answer comes, once for each call.
  /// False, and without effect, when the answer is there.
  bool addObservers();
  void setATTAlertCheked(const std::string& answer);
  /// A parallel variant of the start-up, at the disposal of hosts that reach for it; nothing here calls it.
  void asyncMultiTask(const std::optional<std::string>& authToken);
  void doAyncTask(int index, const std::optional<std::string>& authToken, const std::function<void()>& block);

  // ---- timer and sessions (TrackerSession.cpp)

  /// Starts the timer that waits for the network clock.
  void createUpdateTimer();
  void oneSecondTimerTick();
  /// True when the stored session has expired or none was ever begun.
  bool checkNewSession();
  /// Begins a session: type 1 sends its payload at once, type 2 leaves it to the next event.
  void occurNewSessionWithType(int type);
  bool sendTransaction();
  bool sendTransactionByPage();
  void makeJson();
  void makeJsonByPage();
  /// Key/value pairs that page payloads carry.
  void setTempPairingData(const std::optional<Dictionary>& pairs);

  // ---- payload (TrackerSession.cpp)

  void createSessionJson();
  void createEntireJson();
  void createEntireJson2();
  Dictionary getSessionData();

  // ---- upload (TrackerUpload.cpp)

  /// Sends the prepared payload behind the queue. The flag is not consulted.
  void sendToServerWithPageYN(bool page);
  /// Sends the queue alone.
  void exceptionSendToServer();
  Object getErrorLogParamsDictionaryWithErrlog(const std::optional<std::string>& text);

  // ---- state

  bool getZULInitFlag() const { return ZULinitYN_; }
  bool accessTokenRequestDone() const { return accessTokenRequestDone_; }
  bool fingerPrintRequestDone() const { return fingerPrintRequestDone_; }
  bool NTPtimeGetDone() const { return NTPtimeGetDone_; }
  bool firstExcute() const { return firstExcute_; }
  bool newSessionYN() const { return newSessionYN_; }
  void setBlockingLogEventCallBeforeSdkInitComplete(bool blocking) { blockingLogEventCallBeforeInit_ = blocking; }
  bool getBlockingLogEventCallBeforeSdkInitComplete() const { return blockingLogEventCallBeforeInit_; }
  /// Stores "buildMode", which the payload carries as "dev" or "prod".
  void checkDebugMode(bool dev);
  /// The stored attribution result; empty when there is none.
  Dictionary getAttributedInfo();
  NetworkManager& networkManager() { return networkManager_; }
  SessionController& sessionController() { return sessionController_; }

  // ---- not built yet (TrackerSeams.cpp): these accept the call and do nothing

  void requestIadInfo();
  void requestFingerPrintByDeeplink(bool deepLink);
  void requestFingerPrintByDeeplinkInWeb(bool deepLink, std::int64_t qzno);
  void parseDeepLink(const std::optional<std::string>& link);
  void parseReferrer(const std::optional<std::string>& referrer);
  void parseReferrer2(const std::optional<std::string>& referrer);
  void setFacebookreferrerData(const std::optional<std::string>& openingUrl);
  std::string parseAttributionLinkToGetDeeplinkUrl(const std::optional<std::string>& link);
  void checkInstallReferrerOrder();
  void checkToResetDRInfo();
  void checkToResetPushInfo();
  void checkToResetInternalCampaign();
  void updatePostbackConversionValue(const Object& answer);
  void saveAttributedInfo(const Object& answer);
  void selfValidation(const std::string& firstPayload);
  void setUser(const User& user);
  void saveUserLoginInfo();
  void setUserLogout();
  void saveDeviceToken(const std::optional<std::string>& token);
  void setInternalCampaign(const InternalCampaign& campaign);
  void setIDFA(const std::string& identifier);
  void denyATT();
  void setATTAuthorizationStatus(std::int64_t status);

 private:
  // The text of a session payload. As `entireJson` it stands for the envelope {"SESSION": payload}; null is an
  // empty dictionary.
  using Payload = std::shared_ptr<const std::string>;

  // What is too large for an atomic. Values are replaced whole, so that a reader keeps what it took.
  struct Fields {
    Launch launchOptions;
    std::string ATTAlertCheked = "Undefined";
    int observers = 0;
    Payload sessionJsonDict;
    Payload entireJson;
    std::vector<Object> exceptionJsonList;
    std::optional<Object> tempPairingData = Object();
    PayloadExtras extras;
    std::unique_ptr<platform::Timer> oneSecondTimer;
  };
  template <typename Access>
  auto locked(Access&& access) {
    const std::lock_guard lock(mutex_);
    return access(fields_);
  }

  void start(const Launch& launchOptions);
  void shortStart();
  bool mustWaitForTrackingAnswer();
  void readLaunchLink(const Launch& launchOptions);
  void completeStart();
  void releaseEventsBeforeInit();
  void takeToken(const std::optional<std::string>& token);
  void storeInstallTime(double milliseconds);
  bool sessionExpired();
  void accountNewSession();
  void beginSessionIfExpired(int type);
  Payload buildSessionJson();
  Payload addPairingData(const Payload& session);
  void makeJson(bool initialized);
  void makeJsonByPage(bool initialized);
  void wrapAndSend(const Payload& session, bool initialized);
  void upload(const Payload& entireJson);
  void requestToken();
  void sendErrorLog(const std::optional<std::string>& text, const std::string& arrived);
  void keepAccepted();
  UploadQueue::Owner uploadOwner();
  CollectorIdentity identity();

  TrackerServices services_;
  const Log log_;
  const Dictionary info_;  // the Info.plist
  const Dictionary zulAuthorizationKey_;
  const std::optional<std::string> facebookAppIdCheck_;
  const std::int64_t useMode_;
  SessionController sessionController_;
  NetworkManager networkManager_;
  UploadQueue uploads_;

  std::atomic<bool> newSessionYN_{true};
  std::atomic<bool> accessTokenRequestDone_{false};
  std::atomic<bool> NTPtimeGetDone_{false};
  std::atomic<bool> fingerPrintRequestDone_{false};
  std::atomic<bool> ZULinitYN_{false};
  std::atomic<bool> exceptionDataSend_{false};
  std::atomic<bool> firstExcute_{false};
  std::atomic<bool> blockingLogEventCallBeforeInit_{false};

  std::mutex mutex_;
  Fields fields_;
};

}  // namespace zul
