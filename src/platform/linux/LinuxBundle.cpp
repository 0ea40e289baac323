#include "LinuxBundle.h"

#include <boost/json/object.hpp>
#include <utility>

#include "InfoPlist.h"
#include "Json.h"
#include "LinuxFiles.h"

namespace zul::platform {

namespace {

constexpr std::size_t kMaxPlist = 4 << 20;
constexpr std::size_t kMaxResource = 8 << 20;

}  // namespace

Dictionary LinuxBundle::infoDictionary() {
  return info().dictionary;
}

std::string LinuxBundle::bundleIdentifier() {
  const auto identifier = info().dictionary.string("CFBundleIdentifier");
  return identifier && !identifier->empty() ? *identifier : applicationId_;
}

std::optional<std::string> LinuxBundle::resource(const std::string& name) {
  if (name.empty() || name == ".." || name.find_first_of(std::string_view("/\0", 2)) != name.npos) return std::nullopt;
  return readFile(path(name), kMaxResource);
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
    const auto text = readFile(path("Info.plist"), kMaxPlist, &info_.error);
    info_.missing = !text && info_.error.empty();
    if (!text) return;
    if (auto object = parseInfoPlist(*text, info_.error)) info_.dictionary = DictionaryAccess::wrap(std::move(*object));
  });
  return info_;
}

}  // namespace zul::platform
