#include "zul/ZULSession.h"

#include "Facade.h"
#include "Runtime.h"
#include "Tracker.h"
#include "zul/CallSite.h"
#include "zul/Referrer.h"
#include "zul/User.h"
#include "zul/ZULSessionVersion.h"

namespace zul {

const char ZULSessionVersionString[] = "@(#)PROGRAM:ZULSession  PROJECT:ZULSession-1\n";
const double ZULSessionVersionNumber = 1.0;

namespace {

// The boundary to the host: nothing that `work` throws passes it. Without a Runtime to log to there is
// nothing left to do.
template <typename Work>
void guard(Work&& work, const CallSite& where = CallSite::current()) noexcept {
  try {
    auto& runtime = Runtime::process();
    runtime.log().guard([&] { work(runtime); }, where);
  } catch (...) {
  }
}

template <typename Work>
void withTracker(Work&& work, const CallSite& where = CallSite::current()) noexcept {
  guard([&](Runtime& runtime) { work(runtime.tracker()); }, where);
}

}  // namespace

bool ZULSession::setPlatform(Platform platform) noexcept {
  try {
    return Runtime::setProcessPlatform(std::move(platform));
  } catch (...) {
    return false;
  }
}

void ZULSession::initialization(const LaunchOptions& launchOptions, const Application& application) noexcept {
  initializationForDeferredCallback(launchOptions, application, nullptr);
}

void ZULSession::initializationForDeferredCallback(const LaunchOptions& launchOptions, const Application& application,
                                                   DeferredCallback callback) noexcept {
  guard([&](Runtime& runtime) { facade::initialize(runtime, {launchOptions, application, callback}); });
}

void ZULSession::initializationWithWebViewConfiguration(const LaunchOptions& launchOptions,
                                                        const Application& application,
                                                        std::shared_ptr<WebViewConfiguration> configuration) noexcept {
  initializationWithWebViewConfigurationForDeferredCallback(launchOptions, application, std::move(configuration),
                                                            nullptr);
}

void ZULSession::initializationWithWebViewConfigurationForDeferredCallback(
    const LaunchOptions& launchOptions, const Application& application,
    std::shared_ptr<WebViewConfiguration> configuration, DeferredCallback callback) noexcept {
  guard([&](Runtime& runtime) {
    facade::initializeWithWebView(runtime, {launchOptions, application, callback}, std::move(configuration));
  });
}

void ZULSession::sendTransaction() noexcept {
  withTracker([](Tracker& tracker) { tracker.sendTransaction(); });
}

void ZULSession::setUser(const User& user) noexcept {
  withTracker([&](Tracker& tracker) {
    tracker.setUser(user);
    tracker.saveUserLoginInfo();
  });
}
void ZULSession::setUserLogout() noexcept {
  withTracker([](Tracker& tracker) { tracker.setUserLogout(); });
}

void ZULSession::setDeepLink(const Text& link) noexcept {
  withTracker([&](Tracker& tracker) { tracker.parseDeepLink(link); });
}
void ZULSession::setInstallReferrer(const Referrer& referrer) noexcept {
  withTracker([&](Tracker& tracker) { tracker.parseReferrer2(referrer.referrer); });
}
void ZULSession::setFacebookReferrer(const Text& referrer) noexcept {
  withTracker([&](Tracker& tracker) { tracker.parseReferrer(referrer); });
}
void ZULSession::setFacebookreferrerData(const Text& openingUrl) noexcept {
  guard([&](Runtime& runtime) {
    runtime.log().debug("setFacebookReferrer start");
    runtime.tracker().setFacebookreferrerData(openingUrl);
  });
}

void ZULSession::setPushToken(const Text& token) noexcept {
  withTracker([&](Tracker& tracker) { tracker.saveDeviceToken(token); });
}
void ZULSession::setInternalCampaign(const InternalCampaign& campaign) noexcept {
  withTracker([&](Tracker& tracker) { tracker.setInternalCampaign(campaign); });
}

void ZULSession::setIDFA(const std::string& identifier) noexcept {
  withTracker([&](Tracker& tracker) { tracker.setIDFA(identifier); });
}
void ZULSession::denyATT() noexcept {
  withTracker([](Tracker& tracker) { tracker.denyATT(); });
}
void ZULSession::setATTAuthorizationStatus(std::int64_t status) noexcept {
  withTracker([&](Tracker& tracker) { tracker.setATTAuthorizationStatus(status); });
}

Dictionary ZULSession::getSessionData() noexcept {
  Dictionary session;
  withTracker([&](Tracker& tracker) { session = tracker.getSessionData(); });
  return session;
}

bool ZULSession::getZULSessionInitYN() noexcept {
  bool initialized = false;
  withTracker([&](Tracker& tracker) { initialized = tracker.getZULInitFlag(); });
  return initialized;
}

bool ZULSession::checkNewSession() noexcept {
  bool isNew = false;
  withTracker([&](Tracker& tracker) { isNew = tracker.checkNewSession(); });
  return isNew;
}

void ZULSession::getAttributedInfo(std::function<void(const Dictionary&)> callback) noexcept {
  guard([&](Runtime& runtime) { facade::getAttributedInfo(runtime, std::move(callback)); });
}

void ZULSession::checkDebugMode(bool dev) noexcept {
  withTracker([&](Tracker& tracker) { tracker.checkDebugMode(dev); });
}

std::string ZULSession::parseAttributionLinkToGetDeeplinkUrl(const Text& link) noexcept {
  std::string deepLink;
  withTracker([&](Tracker& tracker) { deepLink = tracker.parseAttributionLinkToGetDeeplinkUrl(link); });
  return deepLink;
}

void ZULSession::setBlockingLogEventCallBeforeSdkInitComplete(bool blocking) noexcept {
  withTracker([&](Tracker& tracker) { tracker.setBlockingLogEventCallBeforeSdkInitComplete(blocking); });
}
bool ZULSession::getBlockingLogEventCallBeforeSdkInitComplete() noexcept {
  bool blocking = false;
  withTracker([&](Tracker& tracker) { blocking = tracker.getBlockingLogEventCallBeforeSdkInitComplete(); });
  return blocking;
}

ZULSession::Text ZULSession::getDeferredUrl() noexcept {
  Text url;
  guard([&](Runtime& runtime) { url = runtime.deferredLinks().getDeferredUrl(); });
  return url;
}

}  // namespace zul
