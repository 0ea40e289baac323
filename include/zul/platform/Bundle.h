#pragma once

#include <optional>
#include <string>

#include "zul/Dictionary.h"

namespace zul::platform {

/// The host application's bundle: its Info.plist, its identifier and its resources.
class Bundle {
 public:
  virtual ~Bundle() = default;

  /// The whole Info.plist; empty when there is none or it cannot be read.
  virtual Dictionary infoDictionary() = 0;

  /// "CFBundleIdentifier", or the application id that the platform was made with.
  virtual std::string bundleIdentifier() = 0;

  /// The bytes of the resource file `name`.
  virtual std::optional<std::string> resource(const std::string& name) = 0;

  /// The property list `name`.plist among the resources, XML or binary; empty when there is none or it cannot be read,
  /// and then `error`, when given, says why. It stays empty for a file that does not exist.
  virtual Dictionary propertyList(const std::string& name, std::string* error) = 0;

  /// Why the Info.plist could not be read; empty when it was read or does not exist.
  virtual std::string lastError() const { return {}; }

  /// What the Info.plist is, or would be, for the log.
  virtual std::string infoName() const { return "the Info.plist"; }

  /// What the host should know of how its application is identified, for the log; empty: nothing.
  virtual std::string remark() const { return {}; }
};

}  // namespace zul::platform
