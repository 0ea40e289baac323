#pragma once

#include <atomic>
#include <boost/json/value.hpp>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "Log.h"
#include "Tasks.h"

namespace zul {

class LocalDB;
struct Deployment;
namespace platform {
class Bundle;
class Device;
class HttpClient;
}  // namespace platform

/// Who this device, this installation and this application are, as one record tells it.
struct Identity {
  std::optional<std::string> advtId;  ///< advertising identifier
  std::int64_t advtFlag = 0;          ///< 1: advertising tracking is off
  std::string keychainUUID;
  std::string uuid;  ///< of the installation
  std::string vendorId;
  std::string pkg;           ///< bundle identifier
  boost::json::value appId;  ///< in the app store: text or number; null for none
  std::string ip;            ///< "0.0.0.0" without an address
};

/// Owns the identifiers: reads them from the device and from the document "Identify", and stores what is new.
/// Any thread may call it.
class Identifiers {
 public:
  /// Has the app store asked in the background.
  struct Background {
    Tasks tasks;
    std::function<void()> stored;  ///< called when an application id has been found and stored
  };

  /// Without `background` whoever needs the application id asks for it.
  Identifiers(LocalDB& db, std::shared_ptr<platform::Device> device, std::shared_ptr<platform::Bundle> bundle,
              std::shared_ptr<platform::HttpClient> http, const Deployment& deployment, Log log,
              std::optional<Background> background);

  /// Brings all of them up to date and stores them. Without a stored application id this waits for the app store, at
  /// most 60 seconds, on the calling thread and without a lock; or it has it asked in the background, and goes without.
  [[nodiscard]] Identity refresh();

  /// Asks the app store now, in the background, if that is where it is asked and there is something to ask.
  void lookUpEarly();

  /// The stored install UUID, or a new random one, which is not stored.
  std::string getUUID() const;
  /// The vendor identifier as it is reported.
  std::string getVendorId() const;
  /// The advertising identifier; none when the device gives the all-zero one.
  std::optional<std::string> getIdfa() const;
  /// The stored application id; where there is none, what the app store answers: a number, or null, as always where it
  /// is asked in the background.
  boost::json::value getAppId(const std::string& pkg);

 private:
  std::string pkg() const;
  boost::json::value lookUpAppId(const std::string& pkg) const;
  void lookUpInBackground(const std::string& pkg);
  void storeFound(const std::string& pkg);

  LocalDB& db_;
  const std::shared_ptr<platform::Device> device_;
  const std::shared_ptr<platform::Bundle> bundle_;
  const std::shared_ptr<platform::HttpClient> http_;
  const std::string lookupHost_;
  const Log log_;
  const std::optional<Background> background_;
  std::atomic<bool> lookingUp_{false};  // in the background
};

}  // namespace zul
