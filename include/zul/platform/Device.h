#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace zul::platform {

/// What may always be read.
struct SystemValues {
  std::string systemVersion;               ///< "17.2"
  std::string vendorIdentifier;            ///< upper-case UUID text, one for each application vendor and device
  std::optional<std::string> ipv4Address;  ///< of the first network interface
};

struct Carrier {
  std::optional<std::string> isoCountryCode;
  std::optional<std::string> name;
};

/// What could tell the device or its place apart; read only with the user's consent.
struct PlaceValues {
  std::string model;                            ///< "iPhone14,2"
  std::vector<std::string> preferredLanguages;  ///< language tags, best first: "ko-KR"
  std::optional<std::string> countryCode;       ///< of the locale: "KR"
  std::optional<Carrier> carrier;               ///< none without a subscription
  double screenWidth = 0;                       ///< points
  double screenHeight = 0;                      ///< points
  double screenScale = 1;                       ///< pixels a point
};

struct AdvertisingValues {
  std::string identifier = "00000000-0000-0000-0000-000000000000";  ///< all zero: none
  bool trackingEnabled = false;
};

/// The device, in the portions that consent decides about. Any thread may call it; an implementation may read a
/// portion once for all.
class Device {
 public:
  virtual ~Device() = default;
  virtual SystemValues system() = 0;
  virtual PlaceValues place() = 0;
  virtual AdvertisingValues advertising() = 0;
};

}  // namespace zul::platform
