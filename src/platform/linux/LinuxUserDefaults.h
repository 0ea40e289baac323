#pragma once

#include <map>
#include <mutex>
#include <string>

#include "zul/platform/UserDefaults.h"

namespace zul::platform {

/// Keeps its values in one small JSON file, read at the first use and replaced as a whole with each change. A file
/// that cannot be understood counts as empty. Any thread may call it; one process at a time owns the file.
class LinuxUserDefaults final : public UserDefaults {
 public:
  explicit LinuxUserDefaults(std::string file) : file_(std::move(file)) {}

  std::optional<double> number(const std::string& key) override;

  /// A value that JSON cannot write (infinity, not a number) removes the key.
  void setNumber(const std::string& key, double value) override;

 private:
  void load();

  const std::string file_;
  std::mutex mutex_;
  bool loaded_ = false;
  std::map<std::string, double> values_;
};

}  // namespace zul::platform
