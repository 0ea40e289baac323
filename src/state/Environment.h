#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

namespace zul {

class ZULReachability;
namespace platform {
class Clock;
class Device;
class Bundle;
struct DeviceValues;
}  // namespace platform

/// One look at the device and the host application, in the texts that the record and the payload carry.
/// Made fresh wherever values are wanted; it keeps what it saw.
class Environment {
 public:
  /// Where an Environment looks.
  struct Sources {
    std::shared_ptr<platform::Device> device;
    std::shared_ptr<platform::Clock> clock;
    std::shared_ptr<platform::Bundle> bundle;
    const ZULReachability* reachability;
  };

  explicit Environment(const Sources& sources);

  std::string getLng() const;                           ///< language, upper case: "KO"
  std::optional<std::string> getCntr() const;           ///< country, upper case: of the carrier, else of the locale
  std::string getTz() const;                            ///< whole hours east of GMT
  std::string getOs() const;                            ///< "iOS 17.2"
  std::string getOsvr() const;                          ///< "17.2"
  std::string getSr() const;                            ///< "390*844/3.0"
  std::string getPhone() const;                         ///< model
  std::optional<std::string> getApVr() const;           ///< the application's version
  std::optional<std::string> getCari() const;           ///< carrier; "ios" without one
  std::int64_t getIsWifi() const;                       ///< 2 Wi-Fi or cable, 1 cellular, 0 none
  std::optional<std::string> getAdvertisingId() const;  ///< none when the device gives the all-zero one
  std::string getPlatfrom() const { return "IOS"; }

 private:
  Sources sources_;
  std::shared_ptr<const platform::DeviceValues> device_;
};

}  // namespace zul
