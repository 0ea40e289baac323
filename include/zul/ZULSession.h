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

  /// Says who the application is, and replaces the platform or pieces of it: pieces left null are the Linux ones. To be
  /// called before anything else; false, and without effect but for a line in the log, once the library is in use.
  ///
  /// Without it, as with an empty LinuxOptions::applicationId, the executable's name is the application's identity and
  /// names its data folder: every program of that name shares the visits, and a renamed one is a new installation. The
  /// log says so once.
  static bool setPlatform(Platform platform) noexcept;

  static void initialization(const LaunchOptions& launchOptions, const Application& application) noexcept;

  /// `callback` is called once in a process, when the first upload is over, whatever became of it; getDeferredUrl
  /// then tells the deferred deep link, if there is one. Null registers none.
  ///
  /// It runs on a background thread of the library's, beside the host's own. LinuxOptions::deferredCallbackOnMain has
  /// it run on the main queue, which with LinuxOptions::mainLoop is the host's loop.
  static void initializationForDeferredCallback(const LaunchOptions& launchOptions, const Application& application,
                                                DeferredCallback callback) noexcept;

  static void initializationWithWebViewConfiguration(const LaunchOptions& launchOptions, const Application& application,
                                                     std::shared_ptr<WebViewConfiguration> configuration) noexcept;

  static void initializationWithWebViewConfigurationForDeferredCallback(
      const LaunchOptions& launchOptions, const Application& application,
      std::shared_ptr<WebViewConfiguration> configuration, DeferredCallback callback) noexcept;

  /// Reports an event: the session payload as it stands now is stored and sent behind what is still queued.
  /// Once it returns, the payload survives the death of the process. Before the start-up has completed it
  /// sends nothing.
  ///
  /// The first event of a process without a stored application id, and the first of each session until one is stored,
  /// asks the app store for it on this thread, for up to 60 seconds where that does not answer; getSessionData does so,
  /// too. LinuxOptions::waitInBackground has it asked in the background, as early as can be.
  ///
  /// For whoever counts: a visit is a distinct pair of "uuid" and "vtTz", and a day's users are its distinct "uuid"s.
  /// - The daily flag "isDf" does not count them: from the second day on, a day's second visit is marked "Y" again.
  /// - A process whose start-up found recorded early events sends those, from one second later until it ends, at each
  ///   event in the place of the event's own payload, every time anew and with the "sid" and "vtTz" of the visit that
  ///   the event belongs to. Pairs of "uuid" and "vtTz" stay right, sums over payloads do not.
  /// - A process that has blocked them (setBlockingLogEventCallBeforeSdkInitComplete) sends nothing in that place.
  ///   Of it the collector sees the visit with which its start-up may begin, and neither its events nor its further
  ///   visits.
  static void sendTransaction() noexcept;

  /// The member who has signed in. The payloads carry the profile from the next one on, also after a restart; a field
  /// that `user` leaves absent is absent, whatever it was before.
  static void setUser(const User& user) noexcept;
  /// The member has signed out: the payloads carry "" for each value of the profile.
  static void setUserLogout() noexcept;

  /// A link opened the application. One of a campaign ("_qzs" and "_qzc" in its query) whose time is not over, "_qzp"
  /// days from "_qzclkTime" (ms since 1970), else a day from now, is stored, travels with the payloads, and reports an
  /// event; on the first run it is a claim on the install instead. Other links are ignored, and so is one of more than
  /// 64 KiB. Links in the launch options are read on the first run alone: pass later ones here.
  static void setDeepLink(const Text& link) noexcept;
  /// An install referrer, the text `referrer.referrer`. It claims the install when its query has "_qzs" and "_qzc" and
  /// at least one of them is empty. The claim with the latest click wins, five seconds after the start; what comes
  /// later is heeded by the next start of this process that completes.
  static void setInstallReferrer(const Referrer& referrer) noexcept;
  /// An install referrer of an advertisement: claims the install when less time has passed since its "_qzclkTime" than
  /// its "_qzckp" times 60, or 86400, milliseconds.
  static void setFacebookReferrer(const Text& referrer) noexcept;
  /// The URL by which an advertisement opened the application: each "target_url" in its "al_applink_data" is such a
  /// referrer.
  static void setFacebookreferrerData(const Text& openingUrl) noexcept;

  /// The device's token for pushes, at each launch; only another one than before does anything. None is "".
  static void setPushToken(const Text& token) noexcept;
  /// Sets the slots of `campaign` that have a code, as of now. A slot is sent until the first session of a launch at
  /// which its days have passed. The payloads up to the next session show the slots as they were given. What is stored,
  /// and shown from then on, differs in what the collector knows of: slot 3 is kept as slot 2, the payload's slot 2
  /// shows slot 1, and slot 8 never ends but clears slot 2 once its days have passed.
  ///
  /// Like sendTransaction it may ask the app store on this thread, for up to 60 seconds.
  static void setInternalCampaign(const InternalCampaign& campaign) noexcept;

  /// The user allowed tracking; `identifier` is the advertising identifier, "" or all zero for none. The first answer
  /// of an installation compares it with the one seen last, also by an earlier installation: another one makes this a
  /// new device. Every one stores the status 3 (see below) and releases a start-up that waits because of "ATTPopup".
  static void setIDFA(const std::string& identifier) noexcept;
  /// The user declined. This releases such a start-up, too, and leaves the status to setATTAuthorizationStatus.
  static void denyATT() noexcept;
  /// Stores the status of the tracking authorization: 0 not determined, 1 restricted, 2 denied, 3 authorized. Language,
  /// country, time zone, screen, model and carrier are read and reported with 3 alone; otherwise payloads have "ANP" in
  /// their places, from the next one on.
  static void setATTAuthorizationStatus(std::int64_t status) noexcept;

  /// The session payload, built anew from the present state; empty until the service's "useMode" is known, and while
  /// the stored state cannot be read. Like
  /// sendTransaction it may ask the app store on this thread, for up to 60 seconds.
  static Dictionary getSessionData() noexcept;
  /// True once the start-up has completed with an access token.
  static bool getZULSessionInitYN() noexcept;
  /// True when the next event begins a new session, that is a visit: 30 minutes after the last accepted upload, or the
  /// last beginning of a session.
  static bool checkNewSession() noexcept;

  /// Calls `callback` once, on the main queue: with the attribution as soon as there is one, looking first
  /// after 5 seconds and then every second, or with an empty dictionary about 15 seconds after this call.
  ///
  /// From the first look on, the waiting blocks the main queue, for up to 10 seconds: with LinuxOptions::mainLoop that
  /// is the host's loop, else a thread of the library's own. LinuxOptions::waitInBackground has the library wait
  /// elsewhere, so that the main queue runs the callback alone.
  static void getAttributedInfo(std::function<void(const Dictionary&)> callback) noexcept;

  /// Marks the payloads as coming from a development build ("buildMode" "dev"). Log output is another thing.
  static void checkDebugMode(bool dev) noexcept;

  /// The application's own deep link out of an attribution link; empty when it has none.
  static std::string parseAttributionLinkToGetDeeplinkUrl(const Text& link) noexcept;

  /// True drops the events recorded before the start-up completes instead of sending them, and with them all that this
  /// process would have sent afterwards: see sendTransaction. The start-up's completion sets it back to false.
  static void setBlockingLogEventCallBeforeSdkInitComplete(bool blocking) noexcept;
  static bool getBlockingLogEventCallBeforeSdkInitComplete() noexcept;

  /// The deferred deep link; none until the collector has told one.
  static Text getDeferredUrl() noexcept;
};

}  // namespace zul
