#pragma once

#include <atomic>
#include <boost/json/object.hpp>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "DeepLinks.h"
#include "EarlyEvents.h"
#include "ErrorReporter.h"
#include "Fingerprint.h"
#include "InAppMessages.h"
#include "InstallReferrers.h"
#include "InternalCampaigns.h"
#include "Log.h"
#include "MemberProfile.h"
#include "Mutex.h"
#include "NetworkManager.h"
#include "Payloads.h"
#include "PushInfo.h"
#include "SKANManager.h"
#include "SearchAds.h"
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
struct SessionJson;
class ZULReachability;
class ZULUtil;
struct Platform;
namespace platform {
class Timer;
}  // namespace platform

/// What a Tracker works with. The Runtime owns it all and outlives the Tracker.
struct TrackerServices {
  Tasks tasks;
  const Platform& platform;
  LocalDB& db;
  Identifiers& identifiers;
  SessionRecord& record;
  const ZULUtil& util;
  const ZULReachability& reachability;
  NHNetworkClock& networkClock;
  AttributionResult& attribution;
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
  using Text = std::optional<std::string>;

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

  // ---- attribution (TrackerAttribution.cpp). What is told before the stored state can be read is kept until then

  /// A link opened the application. One of a campaign that still counts is stored and travels with the payloads; on a
  /// first run it claims the install, later it reports an event.
  void parseDeepLink(const Text& link);
  /// An install referrer: claims the install if its time is not over.
  void parseReferrer(const Text& referrer);
  /// An install referrer from the host: claims the install where its source or its campaign is left empty.
  void parseReferrer2(const Text& referrer);
  /// The URL by which an advertisement opened the application.
  void setFacebookreferrerData(const Text& url);
  /// The application's own link within an attribution link, as it stands; "" where there is none.
  std::string parseAttributionLinkToGetDeeplinkUrl(const Text& link);

  /// Puts what a text's query says into the record, unchecked, as the latest campaign link's or the install's.
  void recordDeepLink(const Text& link);
  void recordReferrer(const Text& referrer);

  /// Asks in the hidden web view whether the collector recognises this device. The flag: a deep link started the
  /// application.
  void requestFingerPrintByDeeplink(bool deepLink);
  void requestFingerPrintByDeeplinkInWeb(bool deepLink, std::int64_t qzno);
  /// The same through the collector's client; at the disposal of hosts, nothing here calls it.
  void requestFingerPrintByDeeplink(bool deepLink, std::int64_t qzno);

  /// What has claimed the install in this process.
  Claims claims() const { return referrers_.claims(); }
  void checkInstallReferrerOrder() { referrers_.checkInstallReferrerOrder(); }
  void checkToResetDRInfo() { deepLinks_.checkToResetDRInfo(); }
  void resetDRInfo() { deepLinks_.resetDRInfo(); }
  void saveDeepLinkWithFingerPrint(const Object& answer) { deepLinks_.saveDeepLinkWithFingerPrint(answer); }
  /// Does what an answer to an upload says of the conversion value.
  void updatePostbackConversionValue(const Object& answer);
  void saveAttributedInfo(const Object& answer);
  void selfValidation(const std::string& payloads);
  void requestIadInfo() { searchAds_.requestIadInfo(); }
  Text getAppleAttributionToken() { return searchAds_.getAppleAttributionToken(); }
  bool requestIAdDone() const { return searchAds_.requestIAdDone(); }

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

  // ---- engagement: the operations of MemberProfile, PushInfo, InternalCampaigns and InAppMessages. What is told
  // before the stored state can be read is kept until then

  void setUser(const User& user) { member_.setUser(user); }
  void saveUserLoginInfo() { member_.saveUserLoginInfo(); }
  void setUserLogout() { member_.setUserLogout(); }

  void saveDeviceToken(const std::optional<std::string>& token) { push_.saveDeviceToken(token); }
  void setPushId(const std::string& id) { push_.setPushId(id); }
  void setPushTitle(const std::string& title) { push_.setPushTitle(title); }
  void setPushClickTime(std::int64_t milliseconds) { push_.setPushClickTime(milliseconds); }
  void setPushPeriod(std::int64_t days) { push_.setPushPeriod(days); }
  void setPushExpiredTime(std::int64_t milliseconds) { push_.setPushExpiredTime(milliseconds); }
  void checkToResetPushInfo() { push_.checkToResetPushInfo(); }
  void resetPushInfo() { push_.resetPushInfo(); }
  /// Reports the click on a push to the collector, once, in the background: see NetworkManager.
  void receiveNotificationWithParams(const Object& params);

  void setInternalCampaign(const InternalCampaign& campaign) { campaigns_.setInternalCampaign(campaign); }
  void checkToResetInternalCampaign() { campaigns_.checkToResetInternalCampaign(); }
  void resetInternalCampaign(int slot) { campaigns_.resetInternalCampaign(slot); }

  void setReceivedInAppMessageList(const boost::json::array& messages) {
    inAppMessages_.setReceivedInAppMessageList(messages);
  }
  boost::json::array receivedInAppMessageList() const { return inAppMessages_.receivedInAppMessageList(); }
  void checkInAppMessageValidation() { inAppMessages_.checkInAppMessageValidation(); }
  void checkToResetInAppMessage() { inAppMessages_.checkToResetInAppMessage(); }
  void resetInAppMessage() { inAppMessages_.resetInAppMessage(); }

  // ---- the flags of the start-up and the session

  bool getZULInitFlag() const { return ZULinitYN_; }
  bool accessTokenRequestDone() const { return accessTokenRequestDone_; }
  bool fingerPrintRequestDone() const { return fingerprint_.requestDone(); }
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
  void whenReadable(std::function<void()> task);
  void editRecord(const std::function<void(SessionJson&)>& edit);
  bool trackingAnswered();
  void initAgain();
  void start(const Launch& launchOptions);
  void shortStart();
  bool mustWaitForTrackingAnswer();
  void readLaunchLink(const Launch& launchOptions);
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
  void takeAccepted(const Object& answer, const std::string& oldest, const std::string& newest,
                    const std::function<void()>& clear);
  void keepAccepted(const std::string& newest);
  void resetReportedLinks(const SessionJson& record, const std::string& newest);
  void tell(const std::string& what, const std::string& problem);
  UploadQueue::Owner uploadOwner();
  Fingerprint::Owner fingerprintOwner();

  const TrackerServices services_;
  const Log log_;
  const Dictionary info_;  // the Info.plist
  const Dictionary zulAuthorizationKey_;
  const std::optional<std::string> facebookAppIdCheck_;
  const std::int64_t useMode_;
  const std::int64_t serviceNumber_;
  SessionController sessionController_;
  MemberProfile member_;
  PushInfo push_;
  InternalCampaigns campaigns_;
  InAppMessages inAppMessages_;
  NetworkManager networkManager_;
  ErrorReporter errors_;
  Payloads payloads_;
  EarlyEvents earlyEvents_;
  UploadQueue uploads_;
  DeepLinks deepLinks_;
  InstallReferrers referrers_;
  Fingerprint fingerprint_;
  SearchAds searchAds_;
  const SKANManager skan_;

  std::atomic<bool> newSessionYN_{true};
  std::atomic<bool> accessTokenRequestDone_{false};
  std::atomic<bool> NTPtimeGetDone_{false};
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
