#pragma once

#include <mutex>
#include <string>

#include "zul/platform/Device.h"

namespace zul::platform {

/// Reads each portion of the device's values from the system once, at the first call. There is no advertising
/// identifier on Linux, and no carrier. Any thread may call it.
class LinuxDevice final : public Device {
 public:
  explicit LinuxDevice(std::string applicationId) : applicationId_(std::move(applicationId)) {}

  SystemValues system() override;
  PlaceValues place() override;
  AdvertisingValues advertising() override { return {}; }

 private:
  const std::string applicationId_;
  std::once_flag systemOnce_;
  std::once_flag placeOnce_;
  SystemValues system_;  // constant once read
  PlaceValues place_;
};

/// The language tags and the country that the locale variables of the environment ask for. Any of them may be null.
struct LocaleVariables {
  const char* all = nullptr;       ///< LC_ALL
  const char* messages = nullptr;  ///< LC_MESSAGES
  const char* lang = nullptr;      ///< LANG
  const char* language = nullptr;  ///< LANGUAGE, a list that counts unless the locale is the C one
};
void readLocale(const LocaleVariables& variables, PlaceValues& values);

}  // namespace zul::platform
