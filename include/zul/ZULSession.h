#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "zul/Application.h"
#include "zul/Dictionary.h"
#include "zul/Export.h"
#include "zul/Platform.h"

namespace zul {

class WebViewConfiguration;
struct InternalCampaign;
struct Referrer;
struct User;

/// The one class that a host calls. Every operation is static, may be called from any thread at any time
/// (also before initialization and while the process exits), and throws nothing: a failure is logged and
/// dropped. Absent text may be given as std::nullopt.
///
/// One of the four initialization entries comes first, at launch, on the thread that owns the application's
/// state; the start-up completes in the background 5 seconds later.
class ZUL_EXPORT ZULSession {
 public:
  /// nullopt when the application was launched without options.
  using LaunchOptions = std::optional<Dictionary>;
  using DeferredCallback = std::function<void()>;
  using Text = std::optional<std::string>;

  /// Replaces the platform, or pieces of it: pieces left null are the Linux ones. To be called before anything
  /// else; false, and without effect, once the library is in use.
  static bool setPlatform(Platform platform) noexcept;

  static void initialization(const LaunchOptions& launchOptions, const Application& application) noexcept;

  /// `callback` is called once in a process, in the background, when the first upload is over; getDeferredUrl
  /// then tells the deferred deep link, if there is one. Null registers none.
  static void initializationForDeferredCallback(const LaunchOptions& launchOptions, const Application& application,
                                                DeferredCallback callback) noexcept;

  static void initializationWithWebViewConfiguration(const LaunchOptions& launchOptions, const Application& application,
                                                     std::shared_ptr<WebViewConfiguration> configuration) noexcept;

  static void initializationWithWebViewConfigurationForDeferredCallback(
      const LaunchOptions& launchOptions, const Application& application,
      std::shared_ptr<WebViewConfiguration> configuration, DeferredCallback callback) noexcept;

  /// Reports an event: the session payload as it stands now is stored and sent behind what is still queued.
  /// Once it returns, the payload survives the death of the process. Before the start-up has completed it
  /// sends nothing; and a process that released or blocked the events recorded before then sends those in the
  /// place of its own.
  static void sendTransaction() noexcept;

  static void setUser(const User& user) noexcept;
  static void setUserLogout() noexcept;

  static void setDeepLink(const Text& link) noexcept;
  static void setInstallReferrer(const Referrer& referrer) noexcept;
  static void setFacebookReferrer(const Text& referrer) noexcept;
  static void setFacebookreferrerData(const Text& openingUrl) noexcept;

  static void setPushToken(const Text& token) noexcept;
  static void setInternalCampaign(const InternalCampaign& campaign) noexcept;

  static void setIDFA(const std::string& identifier) noexcept;
  static void denyATT() noexcept;
  /// 0 not determined, 1 restricted, 2 denied, 3 authorized.
  static void setATTAuthorizationStatus(std::int64_t status) noexcept;

  /// The session payload, built anew from the present state; empty until the service's "useMode" is known.
  static Dictionary getSessionData() noexcept;
  /// True once the start-up has completed with an access token.
  static bool getZULSessionInitYN() noexcept;
  /// True when the next event begins a new session.
  static bool checkNewSession() noexcept;

  /// Calls `callback` once, on the main queue: with the attribution as soon as there is one, looking first
  /// after 5 seconds and then every second, or with an empty dictionary about 15 seconds after this call.
  /// The waiting blocks the main queue.
  static void getAttributedInfo(std::function<void(const Dictionary&)> callback) noexcept;

  /// Marks the payloads as coming from a development build ("buildMode" "dev"). Log output is another thing.
  static void checkDebugMode(bool dev) noexcept;

  /// The application's own deep link out of an attribution link; empty when it has none.
  static std::string parseAttributionLinkToGetDeeplinkUrl(const Text& link) noexcept;

  /// True drops the events recorded before the start-up completes instead of sending them.
  static void setBlockingLogEventCallBeforeSdkInitComplete(bool blocking) noexcept;
  static bool getBlockingLogEventCallBeforeSdkInitComplete() noexcept;

  /// The deferred deep link; none until the collector has told one.
  static Text getDeferredUrl() noexcept;
};

}  // namespace zul
