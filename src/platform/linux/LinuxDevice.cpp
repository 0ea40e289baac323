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
#include <functional>
#include <string_view>
#include <utility>

#include "LinuxFiles.h"
#include "SimCarrier.h"
#include "Utf8.h"
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

std::string systemVersion(const std::string& root, const utsname& system) {
  for (const char* path : {"/etc/os-release", "/usr/lib/os-release"}) {
    const auto release = readFile(root + path, kMaxFile);
    std::string version = release ? variable(*release, "VERSION_ID") : std::string();
    if (!version.empty()) return version;
  }
  return system.release;
}

/// The screen's size in the first mode of the first connected output; zero without one.
void readScreen(const std::string& root, PlaceValues& values) {
  std::error_code error;
  std::vector<std::string> outputs;
  for (const auto& entry : std::filesystem::directory_iterator(root + "/sys/class/drm", error)) {
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

/// What the firmware or the device tree calls the machine; its hardware name where these say nothing.
std::string model(const std::string& root, const utsname& system) {
  // What makers leave in the field when they do not fill it.
  constexpr std::array<std::string_view, 6> kFiller = {"Default string",         "System Product Name",
                                                       "To Be Filled By O.E.M.", "To be filled by O.E.M.",
                                                       "Not Specified",          "None"};
  for (const char* path : {"/sys/class/dmi/id/product_name", "/proc/device-tree/model"}) {
    const auto text = readFile(root + path, kMaxFile);
    if (!text) continue;
    // The device tree ends its texts with a NUL.
    std::string_view name = std::string_view(*text).substr(0, text->find_first_of(std::string_view("\n\0", 2)));
    while (name.ends_with(' ')) name.remove_suffix(1);
    const bool isFiller = std::find(kFiller.begin(), kFiller.end(), name) != kFiller.end();
    if (!name.empty() && !isFiller && isUtf8(name)) return std::string(name);
  }
  return system.machine;
}

/// The application's identifier without its own, last part.
std::string vendor(const std::string& applicationId) {
  const auto dot = applicationId.rfind('.');
  return dot == applicationId.npos || dot == 0 ? applicationId : applicationId.substr(0, dot);
}

bool isMachineId(std::string_view text) {
  const auto isHex = [](char c) { return std::isxdigit(static_cast<unsigned char>(c)) != 0; };
  return text.size() == 32 && std::all_of(text.begin(), text.end(), isHex);
}

/// Never the machine's own identifier, which is to stay on the machine: one made of it for this vendor.
std::string vendorIdentifier(const std::string& root, const std::string& vendor, const utsname& system) {
  for (const char* path : {"/etc/machine-id", "/var/lib/dbus/machine-id"}) {
    const auto machine = readFile(root + path, kMaxFile);
    const auto id = firstLine(machine ? *machine : std::string_view());
    if (isMachineId(id)) return namedUuid(vendor, std::string(id));  // not "uninitialized", nor a file left empty
  }
  return namedUuid(vendor, system.nodename);
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

/// What the host says; none when it says nothing, or throws.
template <typename Value>
std::optional<Value> ask(const std::function<std::optional<Value>()>& host) {
  try {
    return host ? host() : std::nullopt;
  } catch (...) {
    return std::nullopt;
  }
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
    system_.systemVersion = systemVersion(root_, system);
    system_.vendorIdentifier = vendorIdentifier(root_, vendor(options_.applicationId), system);
    system_.ipv4Address = ipv4Address();
  });
  return system_;
}

PlaceValues LinuxDevice::place() {
  std::call_once(placeOnce_, [this] {
    utsname system{};
    uname(&system);
    place_.model = model(root_, system);
    readLocale({std::getenv("LC_ALL"), std::getenv("LC_MESSAGES"), std::getenv("LANG"), std::getenv("LANGUAGE")},
               place_);
    readScreen(root_, place_);
  });
  PlaceValues values = place_;
  if (const auto screen = ask(options_.screen)) {
    values.screenWidth = screen->width;
    values.screenHeight = screen->height;
    values.screenScale = screen->scale;
  }
  values.carrier = ask(options_.carrier);
  if (!values.carrier) values.carrier = carrier_.get(*bus_, simCarrier);
  return values;
}

AdvertisingValues LinuxDevice::advertising() {
  return ask(options_.advertising).value_or(AdvertisingValues());
}

}  // namespace zul::platform
