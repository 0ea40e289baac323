#include <pwd.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>

#include "AbsentServices.h"
#include "AsioDispatcher.h"
#include "AsioUdpSockets.h"
#include "CurlHttpClient.h"
#include "LinuxBundle.h"
#include "LinuxClock.h"
#include "LinuxDevice.h"
#include "LinuxFiles.h"
#include "LinuxHostResolver.h"
#include "LinuxUserDefaults.h"
#include "Log.h"
#include "NetlinkReachability.h"
#include "SqliteKeychain.h"
#include "SqliteStore.h"
#include "StderrSink.h"
#include "SystemBus.h"
#include "zul/Platform.h"
#include "zul/platform/LifeCycle.h"
#include "zul/platform/LogSink.h"
#include "zul/platform/NotificationCenter.h"
#include "zul/platform/WebView.h"

namespace zul {

namespace {

std::string executableName() {
  const std::string path = platform::executablePath();
  return path.substr(path.rfind('/') + 1);
}

/// Hands the lines to a host's function.
class FunctionSink final : public platform::LogSink {
 public:
  explicit FunctionSink(std::function<void(std::string_view)> function) : function_(std::move(function)) {}
  void write(std::string_view line) noexcept override {
    try {
      function_(line);
    } catch (...) {  // the host's own affair, and there is no log to tell it in
    }
  }

 private:
  const std::function<void(std::string_view)> function_;
};

/// `name` as the name of one folder: nothing in it leads elsewhere or hides it.
std::string folderName(std::string name) {
  bool leading = true;
  for (char& c : name) {
    leading = leading && c == '.';
    if (leading || c == '/' || static_cast<unsigned char>(c) < ' ' || c == '\x7f') c = '_';
  }
  return name.empty() ? "_" : name;
}

std::string home() {
  const char* const home = std::getenv("HOME");
  if (home != nullptr && *home == '/') return home;
  passwd entry{};
  passwd* found = nullptr;
  std::array<char, 4096> buffer{};
  if (getpwuid_r(getuid(), &entry, buffer.data(), buffer.size(), &found) == 0 && found != nullptr) return found->pw_dir;
  return "/tmp/" + std::to_string(getuid());
}

/// The folder that `variable` names, or the one that stands for it under the home folder. A relative path does not
/// count, by the rules for these variables.
std::string userFolder(const char* variable, std::string_view underHome) {
  const char* const folder = std::getenv(variable);
  if (folder != nullptr && *folder == '/') return folder;
  return home().append(underHome);
}

/// Beside the data folder, whatever form its path has, so that who removes that folder leaves the keychain.
std::string keychainFile(const std::string& dataFolder) {
  std::error_code error;
  const auto absolute = std::filesystem::absolute(dataFolder, error);
  auto folder = (error ? std::filesystem::path(dataFolder) : absolute).lexically_normal().string();
  while (folder.size() > 1 && folder.back() == '/') folder.pop_back();
  return folder + "-keychain.sqlite";
}

}  // namespace

Platform linuxPlatform(const std::string& applicationId) {
  LinuxOptions options;
  options.applicationId = applicationId;
  return linuxPlatform(options);
}

Platform linuxPlatform(const LinuxOptions& given) {
  LinuxOptions options = given;
  const bool nameless = options.applicationId.empty();
  if (nameless) options.applicationId = executableName();
  const std::string& applicationId = options.applicationId;
  const std::string folder = folderName(applicationId);
  std::string data = options.dataFolder;
  std::string config = options.dataFolder;
  if (data.empty()) {
    data = userFolder("XDG_DATA_HOME", "/.local/share") + "/" + folder;
    config = userFolder("XDG_CONFIG_HOME", "/.config") + "/" + folder;
  }

  std::string remark;
  if (nameless) {
    remark = "No application id was given: the executable's name, " + applicationId +
             ", is the application's identity. Its store is in " + data;
  }

  Platform pieces;
  pieces.logLevel = options.logLevel;
  pieces.waitInBackground = options.waitInBackground;
  pieces.deferredCallbackOnMain = options.deferredCallbackOnMain;
  pieces.clock = std::make_shared<platform::LinuxClock>();
  if (options.logTarget) {
    pieces.log = std::make_shared<FunctionSink>(options.logTarget);
  } else {
    pieces.log = std::make_shared<platform::StderrSink>();
  }
  const auto dispatcher = std::make_shared<platform::AsioDispatcher>(
      options.mainLoop, [log = Log(pieces.clock, pieces.log, options.logLevel)](const std::string& why) {
        log.error("no thread to be had, the work waits: " + why, ZUL_HERE);
      });
  pieces.dispatcher = dispatcher;
  pieces.store = std::make_shared<platform::SqliteStore>(data);
  pieces.http = std::make_shared<platform::CurlHttpClient>();
  pieces.bundle = std::make_shared<platform::LinuxBundle>(options.bundleFolder, applicationId, options.info, remark);
  const auto bus = std::make_shared<platform::SystemBus>();
  pieces.reachability = std::make_shared<platform::NetlinkReachability>(bus);
  pieces.device = std::make_shared<platform::LinuxDevice>(options, bus);
  pieces.userDefaults = std::make_shared<platform::LinuxUserDefaults>(config + "/defaults.json");
  pieces.keychain = std::make_shared<platform::SqliteKeychain>(options.keychainFile.empty() ? keychainFile(data)
                                                                                            : options.keychainFile);
  pieces.lifeCycle = std::make_shared<platform::HostLifeCycle>();
  pieces.notifications = std::make_shared<platform::LocalNotificationCenter>();
  pieces.resolver = std::make_shared<platform::LinuxHostResolver>();
  pieces.udp = std::make_shared<platform::AsioUdpSockets>(dispatcher);
  pieces.webViews = platform::pageWebViews(pieces.http, dispatcher);
  pieces.adServices = std::make_shared<platform::NoAdServices>();
  pieces.skAdNetwork = std::make_shared<platform::NoSKAdNetwork>();
  return pieces;
}

}  // namespace zul
