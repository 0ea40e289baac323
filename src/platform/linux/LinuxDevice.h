#pragma once

#include <mutex>
#include <string>
#include <utility>

#include "zul/Platform.h"
#include "zul/platform/Device.h"

namespace zul::platform {

/// The device as the system knows it, read once, at the first call for the portion; and as the host knows it better,
/// asked anew each time. Any thread may call it.
class LinuxDevice final : public Device {
 public:
  /// Of the options, the application's identifier and what the host knows. `root` stands before the system's paths.
  explicit LinuxDevice(LinuxOptions options, std::string root = {})
      : options_(std::move(options)), root_(std::move(root)) {}

  SystemValues system() override;
  PlaceValues place() override;
  AdvertisingValues advertising() override;

 private:
  const LinuxOptions options_;
  const std::string root_;
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
