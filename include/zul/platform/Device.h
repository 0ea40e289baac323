#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace zul::platform {

struct Carrier {
  std::optional<std::string> isoCountryCode;
  std::optional<std::string> name;
};

/// What the device says of itself, raw.
struct DeviceValues {
  std::string systemVersion;                    ///< "17.2"
  std::string model;                            ///< "iPhone14,2"
  std::vector<std::string> preferredLanguages;  ///< language tags, best first: "ko-KR"
  std::optional<std::string> countryCode;       ///< of the locale: "KR"
  std::optional<Carrier> carrier;               ///< none without a subscription
  double screenWidth = 0;                       ///< points
  double screenHeight = 0;                      ///< points
  double screenScale = 1;                       ///< pixels a point
  std::string vendorIdentifier;                 ///< upper-case UUID text, one for each application vendor and device
  std::string advertisingIdentifier = "00000000-0000-0000-0000-000000000000";  ///< all zero: none
  bool advertisingTrackingEnabled = false;
  std::optional<std::string> ipv4Address;  ///< of the first network interface
};

/// Any thread may call it. The values are immutable; an implementation may read them once for all.
class Device {
 public:
  virtual ~Device() = default;
  virtual std::shared_ptr<const DeviceValues> read() = 0;
};

}  // namespace zul::platform
