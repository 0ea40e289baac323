#include "zul/ZULSession.h"

#include <array>
#include <atomic>
#include <string>
#include <string_view>

#include "Facade.h"
#include "Runtime.h"
#include "Tracker.h"
#include "zul/ZULSessionVersion.h"

namespace zul {

const char ZULSessionVersionString[] = "@(#)PROGRAM:ZULSession  PROJECT:ZULSession-1\n";
const double ZULSessionVersionNumber = 1.0;

namespace {

// The boundary to the host: nothing that `work` throws passes it. Without a Runtime to log to there is
// nothing left to do.
template <typename Work>
void guard(Work&& work, const CallSite& where) noexcept {
  try {
    auto& runtime = Runtime::process();
    runtime.log().guard([&] { work(runtime); }, where);
  } catch (...) {
  }
}

template <typename Work>
void withTracker(Work&& work, const CallSite& where) noexcept {
  guard([&](Runtime& runtime) { work(runtime.tracker()); }, where);
}

// Capabilities whose operations are accepted and have no effect yet. The log says so once for each.
enum class Missing { attribution, campaigns, member, push };
constexpr std::array<std::string_view, 4> kMissing = {"Attribution", "Internal campaigns", "The member profile",
                                                      "Push information"};

void notBuilt(Missing capability, const CallSite& where) noexcept {
  static std::array<std::atomic<bool>, kMissing.size()> said{};
  const auto index = static_cast<std::size_t>(capability);
  if (said[index].exchange(true)) return;
  guard(
      [&](Runtime& runtime) {
        runtime.log().info(std::string(kMissing[index]) + " is not built yet: this call has no effect.", where);
      },
      where);
}

}  // namespace

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

void ZULSession::setUser(const User&) noexcept {
  notBuilt(Missing::member, ZUL_HERE);
}
void ZULSession::setUserLogout() noexcept {
  notBuilt(Missing::member, ZUL_HERE);
}

void ZULSession::setDeepLink(const Text&) noexcept {
  notBuilt(Missing::attribution, ZUL_HERE);
}
void ZULSession::setInstallReferrer(const Referrer&) noexcept {
  notBuilt(Missing::attribution, ZUL_HERE);
}
void ZULSession::setFacebookReferrer(const Text&) noexcept {
  notBuilt(Missing::attribution, ZUL_HERE);
}
void ZULSession::setFacebookreferrerData(const Text&) noexcept {
  guard([](Runtime& runtime) { runtime.log().debug("setFacebookReferrer start", ZUL_HERE); }, ZUL_HERE);
  notBuilt(Missing::attribution, ZUL_HERE);
}

void ZULSession::setPushToken(const Text&) noexcept {
  notBuilt(Missing::push, ZUL_HERE);
}
void ZULSession::setInternalCampaign(const InternalCampaign&) noexcept {
  notBuilt(Missing::campaigns, ZUL_HERE);
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

std::string ZULSession::parseAttributionLinkToGetDeeplinkUrl(const Text&) noexcept {
  notBuilt(Missing::attribution, ZUL_HERE);
  return {};
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
