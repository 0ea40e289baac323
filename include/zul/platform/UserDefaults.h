#pragma once

#include <optional>
#include <string>

namespace zul::platform {

/// A few small values that survive restarts outside the document store. Any thread may call it.
class UserDefaults {
 public:
  virtual ~UserDefaults() = default;
  virtual std::optional<double> number(const std::string& key) = 0;
  virtual void setNumber(const std::string& key, double value) = 0;
};

}  // namespace zul::platform
