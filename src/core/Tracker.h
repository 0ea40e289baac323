#pragma once

#include <atomic>
#include <boost/json/object.hpp>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "EarlyEvents.h"
#include "ErrorReporter.h"
#include "Log.h"
#include "Mutex.h"
#include "NetworkManager.h"
#include "Payloads.h"
#include "SessionController.h"
#include "Tasks.h"
#include "UploadQueue.h"
#include "zul/Dictionary.h"

namespace zul {

class AttributionResult;
class DeferredLinkManager;
class Identifiers;
class LocalDB;
class NHNetworkClock;
class SessionRecord;
class ZULReachability;
class ZULUtil;
namespace platform {
class Bundle;
class HttpClient;
class Timer;
}  // namespace platform

/// What a Tracker works with. The Runtime owns it all and outlives the Tracker.
struct TrackerServices {
  Tasks tasks;
  std::shared_ptr<platform::HttpClient> http;
  std::shared_ptr<platform::Bundle> bundle;
  const Deployment& deployment;
  LocalDB& db;
  Identifiers& identifiers;
  SessionRecord& record;
  const ZULUtil& util;
  const ZULReachability& reachability;
  NHNetworkClock& networkClock;
  const AttributionResult& attribution;
  DeferredLinkManager& deferredLinks;
  const CustomWKWebViewConfiguration& webView;
  std::atomic<int>& debugMode;
  const std::atomic<bool>& stopping;
  Log log;
};

/// The conductor: it keeps the order of the start-up, of the timer and of the sessions, and hands everything else on
/// to the owner of the matter. An operation that is one line is another owner's, reachable from here.
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
  /// The process exits: tells the log of events that still wait, and are lost.
  void announceLoss() noexcept { dropEventsThatWaited("the process ends before it has completed"); }

  // ---- start-up (TrackerStart.cpp)

  /// The start-up sequence. Schedules the step that completes it, 5 seconds later in the background. While the stored
  /// state cannot be read it waits, and so do the events that `sendTransaction` and its like
  /// report.
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

  // ---- consent to tracking (TrackerConsent.cpp). What is told before the stored state can be read is kept until then

  /// The user allowed it. The first answer of an installation says which advertising identifier ("" for none) it had;
  /// another one than before makes this a new device.
  void setIDFA(const std::string& identifier);
  /// Compares the advertising identifier with the one that was seen last, takes it over and stores that the user has
  /// answered.
  void checkIDFAChange(const std::string& identifier);
  /// The user declined. The status is told apart, by `setATTAuthorizationStatus`.
  void denyATT();
  /// Stores the status as the platform numbers it: 0 not determined, 1 restricted, 2 denied, 3 authorized. The current
  /// record shows at once what may now be read of the device, or may not any more.
  void setATTAuthorizationStatus(std::int64_t status);

  /// Whether positioning is on, as the host tells: the record's "gps".
  void setGpsIsOn(const std::optional<std::string>& gps);

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
  void createEntireJson();
  void createEntireJson2() { createEntireJson(); }
  /// Sends the prepared payload behind the queue. The flag is not consulted.
  void sendToServerWithPageYN(bool page);
  /// Sends the queue alone.
  void exceptionSendToServer();
  /// Stores "buildMode", which the payload carries as "dev" or "prod".
  void checkDebugMode(bool dev);

  // ---- the flags of the start-up and the session

  bool getZULInitFlag() const { return ZULinitYN_; }
  bool accessTokenRequestDone() const { return accessTokenRequestDone_; }
  bool fingerPrintRequestDone() const { return fingerPrintRequestDone_; }
  bool NTPtimeGetDone() const { return NTPtimeGetDone_; }
  bool firstExcute() const { return firstExcute_; }
  bool newSessionYN() const { return newSessionYN_; }
  void setBlockingLogEventCallBeforeSdkInitComplete(bool blocking) { blockingLogEventCallBeforeInit_ = blocking; }
  bool getBlockingLogEventCallBeforeSdkInitComplete() const { return blockingLogEventCallBeforeInit_; }

  // ---- other owners' operations

  void setTempPairingData(const std::optional<Dictionary>& pairs) { payloads_.setTempPairingData(pairs); }
  void createSessionJson() { payloads_.createSessionJson(); }
  /// The session payload; empty while the stored state cannot be read.
  Dictionary getSessionData();
  Object getErrorLogParamsDictionaryWithErrlog(const std::optional<std::string>& text) {
    return errors_.getErrorLogParamsDictionaryWithErrlog(text);
  }
  /// The stored attribution result; empty when there is none.
  Dictionary getAttributedInfo();
  NetworkManager& networkManager() { return networkManager_; }
  SessionController& sessionController() { return sessionController_; }

 private:
  using Payload = Payloads::Payload;

  struct Event {
    bool byPage = false;
    Payloads::Pairs pairs = std::nullopt;
  };

  bool mustWaitForStore();
  bool trackingAnswered();
  void initAgain();
  void start(const Launch& launchOptions);
  void shortStart();
  bool mustWaitForTrackingAnswer();
  void readLaunchLink(const Launch& launchOptions);
  void followLink();
  void completeStart();
  void releaseEventsBeforeInit();
  bool waitsForStore(const Event& event);
  void sendEventsThatWaited();
  void dropEventsThatWaited(const char* why) noexcept;
  void report(const Event& event);
  void takeToken(const std::optional<std::string>& token);
  void requestToken();
  void storeInstallTime(double milliseconds);
  bool sessionExpired();
  void accountNewSession();
  void beginSessionIfExpired(int type);
  void sendNewSession();
  void makeJson(bool initialized);
  void makeJsonByPage(const Payloads::Pairs& pairs, bool initialized);
  void wrapAndSend(const Payload& session, bool initialized);
  void upload(const Payload& entireJson);
  void keepAccepted();
  void tell(const std::string& what, const std::string& problem);
  UploadQueue::Owner uploadOwner();

  const TrackerServices services_;
  const Log log_;
  const Dictionary info_;  // the Info.plist
  const Dictionary zulAuthorizationKey_;
  const std::optional<std::string> facebookAppIdCheck_;
  const std::int64_t useMode_;
  const std::int64_t serviceNumber_;
  SessionController sessionController_;
  NetworkManager networkManager_;
  ErrorReporter errors_;
  Payloads payloads_;
  EarlyEvents earlyEvents_;
  UploadQueue uploads_;

  std::atomic<bool> newSessionYN_{true};
  std::atomic<bool> accessTokenRequestDone_{false};
  std::atomic<bool> NTPtimeGetDone_{false};
  std::atomic<bool> fingerPrintRequestDone_{false};
  std::atomic<bool> ZULinitYN_{false};
  std::atomic<bool> firstExcute_{false};
  std::atomic<bool> blockingLogEventCallBeforeInit_{false};
  std::atomic<bool> toldUploadProblem_{false};
  std::atomic<bool> toldEarlyEvent_{false};

  Mutex mutex_;
  Launch launchOptions_ ZUL_GUARDED_BY(mutex_);
  std::string ATTAlertCheked_ ZUL_GUARDED_BY(mutex_) = "Undefined";
  int observers_ ZUL_GUARDED_BY(mutex_) = 0;
  // That came while the start-up had to wait for the store; none: it did not have to.
  std::optional<std::vector<Event>> eventsWaiting_ ZUL_GUARDED_BY(mutex_);
  std::unique_ptr<platform::Timer> oneSecondTimer_ ZUL_GUARDED_BY(mutex_);
};

}  // namespace zul
