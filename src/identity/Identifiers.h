#pragma once

#include <atomic>
#include <boost/json/value.hpp>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "KeychainWrapper.h"
#include "Log.h"
#include "Mutex.h"
#include "Tasks.h"

namespace zul {

class LocalDB;
struct Deployment;
namespace platform {
class Bundle;
class Device;
class HttpClient;
class Keychain;
}  // namespace platform

/// Who this device, this installation and this application are, as one record tells it.
struct Identity {
  std::optional<std::string> advtId;        ///< advertising identifier; the last one seen where the device gives none
  std::int64_t advtFlag = 0;                ///< 1: advertising tracking is off
  std::optional<std::string> aidChange;     ///< "Y" when the device gives another one than was stored, "N" when not
  std::optional<std::string> uptAfv;        ///< "Y" when it is the first one, "" when it took the place of another
  std::optional<std::string> keychainUUID;  ///< of the device; none while the keychain cannot be read
  std::string uuid;                         ///< of the installation
  std::string vendorId;
  std::string pkg;           ///< bundle identifier
  boost::json::value appId;  ///< in the app store: text or number; null for none
  std::string ip;            ///< "0.0.0.0" without an address
};

/// Owns the identifiers: reads them from the device, from the keychain's items "UUID" and "IDFA" and from the document
/// "Identify", and stores what is new. The keychain outlives the installation, the document does not.
///
/// A keychain that cannot be read costs no identifier: nothing is stored in it then, and nothing concluded. Any thread
/// may call it; the lock is held while the keychain is asked.
class Identifiers {
 public:
  struct Sources {
    LocalDB* db = nullptr;
    std::shared_ptr<platform::Device> device;
    std::shared_ptr<platform::Keychain> keychain;
    std::shared_ptr<platform::Bundle> bundle;
    std::shared_ptr<platform::HttpClient> http;
  };

  /// Has the app store asked in the background.
  struct Background {
    Tasks tasks;
    std::function<void()> stored;  ///< called when an application id has been found and stored
  };

  /// Without `background` whoever needs the application id asks for it.
  Identifiers(Sources sources, const Deployment& deployment, Log log, std::optional<Background> background);

  /// Brings all of them up to date and stores them. Without a stored application id this waits for the app store, at
  /// most 60 seconds, on the calling thread and without a lock; or it has it asked in the background, and goes without.
  [[nodiscard]] Identity refresh();

  /// Asks the app store now, in the background, if that is where it is asked and there is something to ask.
  void lookUpEarly();

  /// The stored install UUID, or a new random one, which is not stored.
  std::string getUUID() const;
  /// The vendor identifier as it is reported.
  std::string getVendorId() const;
  /// The device's identifier: the stored one, or the vendor identifier, which is then stored. None while the keychain
  /// cannot be read.
  std::optional<std::string> getKeychainUUID();
  /// The advertising identifier that was seen last, as the keychain has it; none when none ever was.
  std::optional<std::string> getIdfa();
  /// Puts a new random device identifier in the place of the stored one.
  void changeKeychainUUID();
  /// `identifier`, or "" where it is the all-zero one, which stands for none.
  static std::string orNone(const std::string& identifier);
  /// The user allowed tracking, and this is the advertising identifier; "" for none. One that differs from the stored
  /// one makes this a new device. True when it is the first one.
  bool checkIDFAChange(const std::string& identifier);
  /// The stored application id; where there is none, what the app store answers: a number, or null, as always where it
  /// is asked in the background.
  boost::json::value getAppId(const std::string& pkg);

 private:
  void compareIdfa(const std::string& current, const std::string& systemVersion, Identity& identity)
      ZUL_REQUIRES(mutex_);
  std::optional<std::string> keychainUUID(const std::string& vendorIdentifier) ZUL_REQUIRES(mutex_);
  std::optional<std::string> replaceKeychainUUID() ZUL_REQUIRES(mutex_);
  KeychainWrapper item(std::string_view identifier) ZUL_REQUIRES(mutex_);
  std::string pkg() const;
  boost::json::value lookUpAppId(const std::string& pkg) const;
  void lookUpInBackground(const std::string& pkg);
  void storeFound(const std::string& pkg);

  const Sources sources_;
  LocalDB& db_;
  const std::string lookupHost_;
  const Log log_;
  const std::optional<Background> background_;
  std::atomic<bool> lookingUp_{false};  // in the background

  Mutex mutex_;  // one at a time compares with what is stored and replaces it
  bool toldFailure_ ZUL_GUARDED_BY(mutex_) = false;
};

}  // namespace zul
