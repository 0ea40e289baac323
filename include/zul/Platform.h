#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "zul/Deployment.h"
#include "zul/Dictionary.h"
#include "zul/Export.h"
#include "zul/LogLevel.h"
#include "zul/platform/Device.h"

namespace zul {

namespace platform {
class AdServices;
class Bundle;
class Clock;
class Dispatcher;
class DocumentStore;
class HostResolver;
class HttpClient;
class Keychain;
class LifeCycle;
class LogSink;
class NotificationCenter;
class Reachability;
class SKAdNetwork;
class UdpSockets;
class UserDefaults;
class WebViews;
}  // namespace platform

/// Everything the library knows of the outside. A host that wants another piece replaces it here,
/// before its first call; each interface has its own header under zul/platform/.
struct ZUL_EXPORT Platform {
  std::shared_ptr<platform::Clock> clock;
  std::shared_ptr<platform::Dispatcher> dispatcher;
  std::shared_ptr<platform::DocumentStore> store;
  std::shared_ptr<platform::HttpClient> http;
  std::shared_ptr<platform::Bundle> bundle;
  std::shared_ptr<platform::Reachability> reachability;
  std::shared_ptr<platform::Device> device;
  std::shared_ptr<platform::UserDefaults> userDefaults;
  std::shared_ptr<platform::Keychain> keychain;
  std::shared_ptr<platform::LogSink> log;
  std::shared_ptr<platform::LifeCycle> lifeCycle;
  std::shared_ptr<platform::NotificationCenter> notifications;
  std::shared_ptr<platform::HostResolver> resolver;
  std::shared_ptr<platform::UdpSockets> udp;
  std::shared_ptr<platform::WebViews> webViews;
  std::shared_ptr<platform::AdServices> adServices;
  std::shared_ptr<platform::SKAdNetwork> skAdNetwork;
  Deployment deployment;

  // How the library treats its host; see LinuxOptions, which has the same and says more.
  LogLevel logLevel = LogLevel::debug;
  bool waitInBackground = false;
  bool deferredCallbackOnMain = false;

  /// Calls `visit(name, member)` for each piece.
  template <typename Visit>
  static void forEachPiece(Visit&& visit) {
    visit("clock", &Platform::clock);
    visit("dispatcher", &Platform::dispatcher);
    visit("store", &Platform::store);
    visit("http", &Platform::http);
    visit("bundle", &Platform::bundle);
    visit("reachability", &Platform::reachability);
    visit("device", &Platform::device);
    visit("userDefaults", &Platform::userDefaults);
    visit("keychain", &Platform::keychain);
    visit("log", &Platform::log);
    visit("lifeCycle", &Platform::lifeCycle);
    visit("notifications", &Platform::notifications);
    visit("resolver", &Platform::resolver);
    visit("udp", &Platform::udp);
    visit("webViews", &Platform::webViews);
    visit("adServices", &Platform::adServices);
    visit("skAdNetwork", &Platform::skAdNetwork);
  }
};

struct ZUL_EXPORT LinuxOptions {
  struct Screen {
    double width = 0;   ///< points
    double height = 0;  ///< points
    double scale = 1;   ///< pixels a point
  };

  /// Who the application is: names the data folder and stands for the bundle identifier when the Info.plist has none.
  /// What comes before its last dot names the vendor, whose applications share a vendor identifier. Empty: the name of
  /// the executable, so that another program of that name shares the folder, and a renamed one is a new installation.
  std::string applicationId;

  /// The folder with Info.plist and the resources. Empty: the folder of the executable.
  std::string bundleFolder;

  /// The Info.plist given in code: {"zulAuthorizationKey": {"serviceNumber": 1001, "useMode": 1, ...}}, with whatever
  /// else it would have. Unless it is empty no file is read for it.
  Dictionary info;

  /// The folder for the store. Empty: $XDG_DATA_HOME/<applicationId>, or ~/.local/share/<applicationId>.
  std::string dataFolder;

  /// The file of the keychain, which outlives the store. Empty: <data folder>-keychain.sqlite, beside the data folder.
  std::string keychainFile;

  /// What the host knows of the device better than the system. Each is asked whenever its values are wanted, on any
  /// thread, `screen` and `carrier` only with the user's consent. Where there is no function, or it gives nothing or
  /// throws, the system is asked: for the first mode of the first connected screen, in pixels, with a scale of 1; for
  /// the carrier of ModemManager's first SIM. It knows no advertising identifier.
  std::function<std::optional<Screen>()> screen;
  std::function<std::optional<platform::Carrier>()> carrier;
  std::function<std::optional<platform::AdvertisingValues>()> advertising;

  /// Hands a task to the host's own event loop, which then is the main queue. Empty: the main queue is a
  /// thread of the library's own.
  std::function<void(std::function<void()>)> mainLoop;

  /// The deferred callback runs on the main queue instead of on whatever thread an upload ended on.
  bool deferredCallbackOnMain = false;

  /// No thread of the host's waits for a service: the app store is asked in the background, as early as can be, and
  /// what is built before it has answered goes without "appId"; getAttributedInfo waits in the background, and only its
  /// callback runs on the main queue. False: the one waits up to 60 seconds on the thread that needs the answer first,
  /// the other 10 seconds on the main queue.
  bool waitInBackground = false;

  /// The library's lines below it are not written: there are many, and they quote payloads in full. What a host prints
  /// with ZULDebugger has no level.
  LogLevel logLevel = LogLevel::debug;

  /// Takes the log lines, each with its line feed, from any thread, the host's own among them; it must not call the
  /// library, and what it throws is dropped. Empty: they go to standard error.
  std::function<void(std::string_view line)> logTarget;
};

/// The Linux pieces for one application. Nothing is opened or started before the first use.
ZUL_EXPORT Platform linuxPlatform(const std::string& applicationId);
ZUL_EXPORT Platform linuxPlatform(const LinuxOptions& options);

}  // namespace zul
