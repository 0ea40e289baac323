#pragma once

#include <mutex>
#include <string>
#include <utility>

#include "SystemBus.h"
#include "zul/Platform.h"
#include "zul/platform/Device.h"

namespace zul::platform {

/// The device as the system knows it, read once, at the first call for the portion, the carrier once a minute; and as
/// the host knows it better, asked anew each time. Any thread may call it.
class LinuxDevice final : public Device {
 public:
  /// Of the options, the application's identifier and what the host knows. `root` stands before the system's paths.
  LinuxDevice(LinuxOptions options, std::shared_ptr<SystemBus> bus, std::string root = {})
      : options_(std::move(options)), bus_(std::move(bus)), root_(std::move(root)) {}

  SystemValues system() override;
  PlaceValues place() override;
  AdvertisingValues advertising() override;

 private:
  const LinuxOptions options_;
  const std::shared_ptr<SystemBus> bus_;
  const std::string root_;
  std::once_flag systemOnce_;
  std::once_flag placeOnce_;
  SystemValues system_;  // constant once read
  PlaceValues place_;
  Remembered<Carrier> carrier_{std::chrono::minutes(1)};
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
