#pragma once

#include <memory>
#include <string>

#include "ShiftedClock.h"
#include "zul/Platform.h"
#include "zul/platform/LogSink.h"

namespace zul::test {

/// Where a host of the library lives, and whom it asks.
struct HostSettings {
  std::string data;       // the folder of the store
  std::string bundle;     // the folder of the Info.plist
  std::string collector;  // a base URL
  std::string lookup{};   // the host of the app-store look-up; empty: the collector's
  std::string caFile{};
  double later = 0;                          // seconds that its clock is ahead
  double pace = 1;                           // how long what is to wait waits, of its time
  std::shared_ptr<platform::LogSink> log{};  // none: the platform's own
};

/// A device that consists of the real parts, save that its clock can be set and that it may be in a hurry. It asks no
/// time servers.
struct HostPlatform {
  explicit HostPlatform(const HostSettings& settings);

  Platform platform;
  std::shared_ptr<ShiftedClock> clock;
};

/// Writes the Info.plist of a host whose service has `token`; without one the library asks the collector.
void writeInfoPlist(const std::string& folder, const std::string& token);

}  // namespace zul::test
