#include "LinuxBundle.h"

#include <unistd.h>

#include <boost/json/object.hpp>
#include <utility>

#include "InfoPlist.h"
#include "Json.h"
#include "LinuxFiles.h"

namespace zul::platform {

namespace {

constexpr std::size_t kMaxPlist = 4 << 20;
constexpr std::size_t kMaxResource = 8 << 20;

/// False for what leads out of the folder.
bool isName(const std::string& name) {
  return !name.empty() && name != ".." && name.find_first_of(std::string_view("/\0", 2)) == name.npos;
}

Dictionary readPropertyList(const std::string& path, std::string& error) {
  const auto text = readFile(path, kMaxPlist, &error);
  auto object = text ? parseInfoPlist(*text, error) : std::nullopt;
  return object ? DictionaryAccess::wrap(std::move(*object)) : Dictionary();
}

}  // namespace

Dictionary LinuxBundle::infoDictionary() {
  return info().dictionary;
}

std::string LinuxBundle::bundleIdentifier() {
  const auto identifier = info().dictionary.string("CFBundleIdentifier");
  return identifier && !identifier->empty() ? *identifier : applicationId_;
}

std::optional<std::string> LinuxBundle::resource(const std::string& name) {
  return isName(name) ? readFile(path(name), kMaxResource) : std::nullopt;
}

Dictionary LinuxBundle::propertyList(const std::string& name, std::string* error) {
  std::string why;
  auto values = isName(name) ? readPropertyList(path(name + ".plist"), why) : Dictionary();
  if (error != nullptr) *error = std::move(why);
  return values;
}

std::string LinuxBundle::lastError() const {
  return info().error;
}

std::string LinuxBundle::infoName() const {
  if (!given_.empty()) return "LinuxOptions::info";
  return path("Info.plist") + (info().missing ? " (there is no such file)" : "");
}

std::string LinuxBundle::path(const std::string& name) const {
  if (!folder_.empty()) return folder_ + "/" + name;
  const std::string executable = executablePath();
  return executable.substr(0, executable.rfind('/') + 1) + name;
}

const LinuxBundle::Info& LinuxBundle::info() const {
  std::call_once(once_, [this] {
    if (!given_.empty()) {
      info_.dictionary = given_;
      return;
    }
    info_.dictionary = readPropertyList(path("Info.plist"), info_.error);
    info_.missing = info_.error.empty() && access(path("Info.plist").c_str(), F_OK) != 0;
  });
  return info_;
}

}  // namespace zul::platform
