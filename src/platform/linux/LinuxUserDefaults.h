#pragma once

#include <map>
#include <string>

#include "Mutex.h"
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
  void load() ZUL_REQUIRES(mutex_);

  const std::string file_;
  Mutex mutex_;
  bool loaded_ ZUL_GUARDED_BY(mutex_) = false;
  std::map<std::string, double> values_ ZUL_GUARDED_BY(mutex_);
};

}  // namespace zul::platform
