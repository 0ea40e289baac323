#include "LinuxDevice.h"

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <net/if.h>
#include <sys/utsname.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <charconv>
#include <cstdlib>
#include <filesystem>
#include <string_view>
#include <utility>

#include "LinuxFiles.h"
#include "Uuid.h"

namespace zul::platform {

namespace {

constexpr std::size_t kMaxFile = 64 << 10;

std::string_view firstLine(std::string_view text) {
  return text.substr(0, text.find('\n'));
}

/// The value of `name` in a file of NAME=value lines, without its quotes.
std::string variable(std::string_view text, std::string_view name) {
  while (!text.empty()) {
    std::string_view line = firstLine(text);
    text.remove_prefix(std::min(line.size() + 1, text.size()));
    if (!line.starts_with(name) || line.substr(name.size(), 1) != "=") continue;
    line.remove_prefix(name.size() + 1);
    if (line.size() >= 2 && (line.front() == '"' || line.front() == '\'') && line.back() == line.front()) {
      line = line.substr(1, line.size() - 2);
    }
    return std::string(line);
  }
  return {};
}

std::string systemVersion(const utsname& system) {
  for (const char* path : {"/etc/os-release", "/usr/lib/os-release"}) {
    const auto release = readFile(path, kMaxFile);
    std::string version = release ? variable(*release, "VERSION_ID") : std::string();
    if (!version.empty()) return version;
  }
  return system.release;
}

/// The screen's size in the first mode of the first connected output; zero without one.
void readScreen(PlaceValues& values) {
  std::error_code error;
  std::vector<std::string> outputs;
  for (const auto& entry : std::filesystem::directory_iterator("/sys/class/drm", error)) {
    outputs.push_back(entry.path());
  }
  std::sort(outputs.begin(), outputs.end());
  for (const auto& output : outputs) {
    const auto status = readFile(output + "/status", kMaxFile);
    const auto modes = readFile(output + "/modes", kMaxFile);
    if (!status || firstLine(*status) != "connected" || !modes) continue;
    const std::string_view mode = firstLine(*modes);  // "1920x1080"
    const auto cross = mode.find('x');
    unsigned width = 0;
    unsigned height = 0;
    if (cross == mode.npos) continue;
    std::from_chars(mode.data(), mode.data() + cross, width);
    std::from_chars(mode.data() + cross + 1, mode.data() + mode.size(), height);
    values.screenWidth = width;
    values.screenHeight = height;
    return;
  }
}

/// Never the machine's own identifier, which is to stay on the machine: one made of it for this application.
std::string vendorIdentifier(const std::string& applicationId, const utsname& system) {
  for (const char* path : {"/etc/machine-id", "/var/lib/dbus/machine-id"}) {
    const auto machine = readFile(path, kMaxFile);
    if (machine && !firstLine(*machine).empty()) return namedUuid(applicationId, std::string(firstLine(*machine)));
  }
  return namedUuid(applicationId, system.nodename);
}

std::optional<std::string> ipv4Address() {
  ifaddrs* list = nullptr;
  if (getifaddrs(&list) != 0) return std::nullopt;
  std::optional<std::string> found;
  for (const ifaddrs* entry = list; entry != nullptr; entry = entry->ifa_next) {
    if (entry->ifa_addr == nullptr || entry->ifa_addr->sa_family != AF_INET) continue;
    if ((entry->ifa_flags & IFF_UP) == 0 || (entry->ifa_flags & IFF_LOOPBACK) != 0) continue;
    const bool isPrimary = std::string_view(entry->ifa_name) == "en0";
    if (found && !isPrimary) continue;
    std::array<char, INET_ADDRSTRLEN> text{};
    const auto* address = reinterpret_cast<const sockaddr_in*>(entry->ifa_addr);
    if (inet_ntop(AF_INET, &address->sin_addr, text.data(), text.size()) == nullptr) continue;
    found = text.data();
    if (isPrimary) break;
  }
  freeifaddrs(list);
  return found;
}

/// "ko_KR.UTF-8@latin" is "ko-KR"; empty for the C locale.
std::string languageTag(std::string_view locale) {
  std::string tag(locale.substr(0, locale.find_first_of(".@")));
  std::replace(tag.begin(), tag.end(), '_', '-');
  return tag == "C" || tag == "POSIX" ? std::string() : tag;
}

std::optional<std::string> country(const std::string& tag) {
  const auto dash = tag.rfind('-');
  if (dash == tag.npos || tag.size() - dash != 3) return std::nullopt;
  std::string code = tag.substr(dash + 1);
  for (char& c : code) {
    if (std::isalpha(static_cast<unsigned char>(c)) == 0) return std::nullopt;
    c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  }
  return code;
}

}  // namespace

void readLocale(const LocaleVariables& variables, PlaceValues& values) {
  std::string main;
  for (const char* locale : {variables.all, variables.messages, variables.lang}) {
    if (locale == nullptr || *locale == '\0') continue;
    main = languageTag(locale);
    break;
  }
  if (main.empty()) {
    values.preferredLanguages = {"en"};
    return;
  }
  values.countryCode = country(main);
  std::string_view list = variables.language != nullptr ? variables.language : "";
  while (!list.empty()) {
    const std::string_view item = list.substr(0, list.find(':'));
    list.remove_prefix(std::min(item.size() + 1, list.size()));
    std::string tag = languageTag(item);
    if (!tag.empty()) values.preferredLanguages.push_back(std::move(tag));
  }
  if (values.preferredLanguages.empty()) values.preferredLanguages.push_back(std::move(main));
}

SystemValues LinuxDevice::system() {
  std::call_once(systemOnce_, [this] {
    utsname system{};
    uname(&system);
    system_.systemVersion = systemVersion(system);
    system_.vendorIdentifier = vendorIdentifier(applicationId_, system);
    system_.ipv4Address = ipv4Address();
  });
  return system_;
}

PlaceValues LinuxDevice::place() {
  std::call_once(placeOnce_, [this] {
    utsname system{};
    uname(&system);
    place_.model = system.machine;
    readLocale({std::getenv("LC_ALL"), std::getenv("LC_MESSAGES"), std::getenv("LANG"), std::getenv("LANGUAGE")},
               place_);
    readScreen(place_);
  });
  return place_;
}

}  // namespace zul::platform
