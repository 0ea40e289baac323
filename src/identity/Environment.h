#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "NetworkManager.h"
#include "zul/platform/Device.h"

namespace zul {

class LocalDB;
class ZULReachability;
namespace platform {
class Bundle;
class Clock;
}  // namespace platform

/// One look at the device and the host application, in the texts that the record and the payload carry.
/// Made fresh wherever values are wanted; it keeps what it saw.
///
/// What could tell the device or its place apart is read only where the stored tracking-authorization status is
/// "authorized". Otherwise the device is not even asked, and those values read "ANP".
class Environment {
 public:
  static constexpr std::int64_t kAuthorized = 3;  ///< as the platform numbers the tracking-authorization status

  /// Where an Environment looks.
  struct Sources {
    LocalDB* db = nullptr;
    std::shared_ptr<platform::Device> device;
    std::shared_ptr<platform::Clock> clock;
    std::shared_ptr<platform::Bundle> bundle;
    const ZULReachability* reachability = nullptr;
  };

  explicit Environment(const Sources& sources);

  std::optional<std::string> getLng() const;  ///< language, upper case: "KO"; with consent
  std::optional<std::string> getCntr()
      const;                     ///< country, upper case: of the carrier, else of the locale; with consent
  std::string getTz() const;     ///< whole hours east of GMT; with consent
  std::string getOs() const;     ///< "iOS 17.2"
  std::string getOsvr() const;   ///< "17.2"
  std::string getSr() const;     ///< "390*844/3.0"; with consent
  std::string getPhone() const;  ///< model; with consent
  std::optional<std::string> getApVr() const;  ///< the application's version
  std::optional<std::string> getCari() const;  ///< carrier; "ios" without one; with consent
  std::int64_t getIsWifi() const;              ///< 2 Wi-Fi or cable, 1 cellular, 0 none; asks the system at each call
  std::string getPlatfrom() const { return "IOS"; }
  /// Diagonal of the screen in inches: what the bundle's property list "DeviceDisplayMap" has for the model, else 3.5;
  /// 0 without consent. `error` says why the list could not be read; it stays empty where there is none.
  double getInch(std::string& error) const;

  std::int64_t ATTAuthStatus() const { return ATTAuthStatus_; }
  /// The stored status, which one made now would have; 0 where none is stored.
  static std::int64_t storedStatus(LocalDB& db);

  /// Who sends a request to the collector now.
  Sender sender() const;

 private:
  const Sources sources_;
  const std::int64_t ATTAuthStatus_;
  const platform::SystemValues system_;
  const std::optional<platform::PlaceValues> place_;  // none without consent
};

}  // namespace zul
