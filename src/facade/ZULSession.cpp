#include "zul/ZULSession.h"

#include <string>

#include "Boundary.h"
#include "Facade.h"
#include "zul/Referrer.h"
#include "zul/ZULSessionVersion.h"

namespace zul {

const char ZULSessionVersionString[] = "@(#)PROGRAM:ZULSession  PROJECT:ZULSession-1\n";
const double ZULSessionVersionNumber = 1.0;

bool ZULSession::setPlatform(Platform platform) noexcept {
  try {
    if (Runtime::setProcessPlatform(std::move(platform))) return true;
    Runtime::process().log().error("setPlatform comes too late: the library is in use, with the platform it has.",
                                   ZUL_HERE);
  } catch (...) {
  }
  return false;
}

void ZULSession::initialization(const LaunchOptions& launchOptions, const Application& application) noexcept {
  initializationForDeferredCallback(launchOptions, application, nullptr);
}

void ZULSession::initializationForDeferredCallback(const LaunchOptions& launchOptions, const Application& application,
                                                   DeferredCallback callback) noexcept {
  guard([&](Runtime& runtime) { facade::initialize(runtime, {launchOptions, application, callback}); }, ZUL_HERE);
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
  guard(
      [&](Runtime& runtime) {
        facade::initializeWithWebView(runtime, {launchOptions, application, callback}, std::move(configuration));
      },
      ZUL_HERE);
}

void ZULSession::sendTransaction() noexcept {
  withTracker([](Tracker& tracker) { tracker.sendTransaction(); }, ZUL_HERE);
}

void ZULSession::setUser(const User& user) noexcept {
  withTracker([&](Tracker& tracker) { tracker.setUser(user); }, ZUL_HERE);
}
void ZULSession::setUserLogout() noexcept {
  withTracker([](Tracker& tracker) { tracker.setUserLogout(); }, ZUL_HERE);
}

void ZULSession::setDeepLink(const Text& link) noexcept {
  withTracker([&](Tracker& tracker) { tracker.parseDeepLink(link); }, ZUL_HERE);
}
void ZULSession::setInstallReferrer(const Referrer& referrer) noexcept {
  withTracker([&](Tracker& tracker) { tracker.parseReferrer2(referrer.referrer); }, ZUL_HERE);
}
void ZULSession::setFacebookReferrer(const Text& referrer) noexcept {
  withTracker([&](Tracker& tracker) { tracker.parseReferrer(referrer); }, ZUL_HERE);
}
void ZULSession::setFacebookreferrerData(const Text& url) noexcept {
  guard([](Runtime& runtime) { runtime.log().debug("setFacebookReferrer start", ZUL_HERE); }, ZUL_HERE);
  withTracker([&](Tracker& tracker) { tracker.setFacebookreferrerData(url); }, ZUL_HERE);
}

void ZULSession::setPushToken(const Text& token) noexcept {
  withTracker([&](Tracker& tracker) { tracker.saveDeviceToken(token); }, ZUL_HERE);
}
void ZULSession::setInternalCampaign(const InternalCampaign& campaign) noexcept {
  withTracker([&](Tracker& tracker) { tracker.setInternalCampaign(campaign); }, ZUL_HERE);
}

void ZULSession::setIDFA(const std::string& identifier) noexcept {
  withTracker([&](Tracker& tracker) { tracker.setIDFA(identifier); }, ZUL_HERE);
}
void ZULSession::denyATT() noexcept {
  withTracker([](Tracker& tracker) { tracker.denyATT(); }, ZUL_HERE);
}
void ZULSession::setATTAuthorizationStatus(std::int64_t status) noexcept {
  withTracker([&](Tracker& tracker) { tracker.setATTAuthorizationStatus(status); }, ZUL_HERE);
}

Dictionary ZULSession::getSessionData() noexcept {
  Dictionary session;
  withTracker([&](Tracker& tracker) { session = tracker.getSessionData(); }, ZUL_HERE);
  return session;
}

bool ZULSession::getZULSessionInitYN() noexcept {
  bool initialized = false;
  withTracker([&](Tracker& tracker) { initialized = tracker.getZULInitFlag(); }, ZUL_HERE);
  return initialized;
}

bool ZULSession::checkNewSession() noexcept {
  bool isNew = false;
  withTracker([&](Tracker& tracker) { isNew = tracker.checkNewSession(); }, ZUL_HERE);
  return isNew;
}

void ZULSession::getAttributedInfo(std::function<void(const Dictionary&)> callback) noexcept {
  guard([&](Runtime& runtime) { facade::getAttributedInfo(runtime, std::move(callback)); }, ZUL_HERE);
}

void ZULSession::checkDebugMode(bool dev) noexcept {
  withTracker([&](Tracker& tracker) { tracker.checkDebugMode(dev); }, ZUL_HERE);
}

std::string ZULSession::parseAttributionLinkToGetDeeplinkUrl(const Text& link) noexcept {
  std::string embedded;
  withTracker([&](Tracker& tracker) { embedded = tracker.parseAttributionLinkToGetDeeplinkUrl(link); }, ZUL_HERE);
  return embedded;
}

void ZULSession::setBlockingLogEventCallBeforeSdkInitComplete(bool blocking) noexcept {
  withTracker([&](Tracker& tracker) { tracker.setBlockingLogEventCallBeforeSdkInitComplete(blocking); }, ZUL_HERE);
}
bool ZULSession::getBlockingLogEventCallBeforeSdkInitComplete() noexcept {
  bool blocking = false;
  withTracker([&](Tracker& tracker) { blocking = tracker.getBlockingLogEventCallBeforeSdkInitComplete(); }, ZUL_HERE);
  return blocking;
}

ZULSession::Text ZULSession::getDeferredUrl() noexcept {
  Text url;
  guard([&](Runtime& runtime) { url = runtime.deferredLinks().getDeferredUrl(); }, ZUL_HERE);
  return url;
}

}  // namespace zul
