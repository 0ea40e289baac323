#pragma once

#include <mutex>
#include <string>

#include "zul/platform/Bundle.h"

namespace zul::platform {

/// A folder with an Info.plist and resources. The Info.plist is read once, at the first call that needs it. Any
/// thread may call it.
class LinuxBundle final : public Bundle {
 public:
  /// An empty `folder` is that of the executable.
  LinuxBundle(std::string folder, std::string applicationId)
      : folder_(std::move(folder)), applicationId_(std::move(applicationId)) {}

  Dictionary infoDictionary() override;
  std::string bundleIdentifier() override;

  /// None for a name with a slash, and for a file larger than 8 MiB.
  std::optional<std::string> resource(const std::string& name) override;

  Dictionary propertyList(const std::string& name, std::string* error) override;

  std::string lastError() const override;

 private:
  struct Info {
    Dictionary dictionary;
    std::string error;
  };

  std::string path(const std::string& name) const;
  const Info& info() const;

  const std::string folder_;
  const std::string applicationId_;
  mutable std::once_flag once_;
  mutable Info info_;
};

}  // namespace zul::platform
