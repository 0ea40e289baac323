#pragma once

#include <mutex>
#include <string>

#include "zul/platform/Bundle.h"

namespace zul::platform {

/// A folder with an Info.plist and resources. The Info.plist is given, or read once, at the first call that needs it.
/// Any thread may call it.
class LinuxBundle final : public Bundle {
 public:
  /// An empty `folder` is that of the executable, an empty `given` has the file read.
  LinuxBundle(std::string folder, std::string applicationId, Dictionary given = {}, std::string remark = "")
      : folder_(std::move(folder)),
        applicationId_(std::move(applicationId)),
        given_(std::move(given)),
        remark_(std::move(remark)) {}

  Dictionary infoDictionary() override;
  std::string bundleIdentifier() override;

  /// None for a name with a slash, and for a file larger than 8 MiB.
  std::optional<std::string> resource(const std::string& name) override;

  Dictionary propertyList(const std::string& name, std::string* error) override;

  std::string lastError() const override;
  std::string infoName() const override;
  std::string remark() const override { return remark_; }

 private:
  struct Info {
    Dictionary dictionary;
    std::string error;
    bool missing = false;
  };

  std::string path(const std::string& name) const;
  const Info& info() const;

  const std::string folder_;
  const std::string applicationId_;
  const Dictionary given_;
  const std::string remark_;
  mutable std::once_flag once_;
  mutable Info info_;
};

}  // namespace zul::platform
