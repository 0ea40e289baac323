#include "Identifiers.h"

#include <utility>

#include "Endpoints.h"
#include "Json.h"
#include "Keys.h"
#include "LocalDB.h"
#include "NetworkManager.h"
#include "SystemVersion.h"
#include "Uuid.h"
#include "zul/Deployment.h"
#include "zul/platform/Bundle.h"
#include "zul/platform/Device.h"
#include "zul/platform/HttpClient.h"
#include "zul/platform/Keychain.h"

namespace zul {

namespace {

constexpr std::string_view kNoIdentifier = "00000000-0000-0000-0000-000000000000";  // tracking is not allowed
constexpr double kLookUpTimeout = 60;                                               // seconds

// The keychain's items, and the attribute that holds their identifiers.
constexpr std::string_view kUuidItem = "UUID";
constexpr std::string_view kIdfaItem = "IDFA";
constexpr std::string_view kAccount = platform::Keychain::kSecAttrAccount;

constexpr int kFirstVersionThatAsks = 14;  // of the system: earlier ones gave the identifier without asking the user

}  // namespace

Identifiers::Identifiers(Sources sources, const Deployment& deployment, Log log, std::optional<Background> background)
    : sources_(std::move(sources)),
      db_(*sources_.db),
      lookupHost_(deployment.appStoreLookupHost),
      log_(std::move(log)),
      background_(std::move(background)) {}

Identity Identifiers::refresh() {
  db_.requireReadable();  // before anything is concluded from what the keychain holds
  const auto system = sources_.device->system();
  const auto advertising = sources_.device->advertising();
  Identity identity;
  {
    const MutexLock lock(mutex_);
    compareIdfa(orNone(advertising.identifier), system.systemVersion, identity);
    identity.keychainUUID = keychainUUID(system.vendorIdentifier);
  }
  identity.advtFlag = advertising.trackingEnabled ? 0 : 1;
  identity.vendorId = getVendorId();
  identity.pkg = pkg();
  identity.appId = getAppId(identity.pkg);
  identity.ip = system.ipv4Address.value_or("0.0.0.0");
  db_.update(keys::identify::kDocument, [&](MutableDocument& identify) {
    identity.uuid = getUUID();  // within the write, so that two threads agree on a new one
    identify.setString(identity.uuid, keys::identify::kUuid);
    identify.setString(identity.vendorId, keys::identify::kVendorId);
    identify.setString(identity.pkg, keys::identify::kPkgname);
    if (!identity.appId.is_null()) identify.setValue(identity.appId, keys::identify::kAppId);
  });
  return identity;
}

// ---- in the keychain

KeychainWrapper Identifiers::item(std::string_view identifier) {
  KeychainWrapper item(*sources_.keychain, identifier);
  if (!item.isReadable() && !toldFailure_) {
    toldFailure_ = true;
    log_.error("The keychain cannot be read (" + sources_.keychain->lastError() +
                   "): what it holds stays as it is, and payloads go without the device's identifier.",
               ZUL_HERE);
  }
  return item;
}

// Compares what the device gives now, "" for none, with what it gave last.
void Identifiers::compareIdfa(const std::string& current, const std::string& systemVersion, Identity& identity) {
  auto idfa = item(kIdfaItem);
  if (!idfa.isReadable()) {
    if (!current.empty()) identity.advtId = current;
    return;
  }
  const auto stored = idfa.exists() ? idfa.objectForKey(kAccount) : std::nullopt;
  const bool known = !stored.value_or("").empty();
  if (!stored || *stored == current) {
    identity.aidChange = "N";
  } else if (known) {
    identity.aidChange = "Y";
  }
  bool mayStore = true;
  if (!current.empty() && current != stored) {
    if (known) {
      identity.uptAfv = "";
      const auto uuid = replaceKeychainUUID();
      if (uuid) log_.debug("======== newUUID in changeKeychainUUID : " + *uuid, ZUL_HERE);
      mayStore = uuid.has_value();
    } else if (isAtLeast(systemVersion, kFirstVersionThatAsks)) {
      identity.uptAfv = "Y";
    }
  }
  if (!current.empty()) {
    if (mayStore) idfa.setObject(current, kAccount);
    identity.advtId = current;
  } else if (known) {
    identity.advtId = stored;
  }
}

std::optional<std::string> Identifiers::getIdfa() {
  const MutexLock lock(mutex_);
  auto stored = item(kIdfaItem).objectForKey(kAccount);
  return stored.value_or("").empty() ? std::nullopt : stored;
}

bool Identifiers::checkIDFAChange(const std::string& identifier) {
  std::optional<std::string> stored;
  bool first = false;
  {
    const MutexLock lock(mutex_);
    auto idfa = item(kIdfaItem);
    stored = idfa.exists() ? idfa.objectForKey(kAccount) : std::nullopt;
    if (!identifier.empty() && identifier != stored && idfa.isReadable()) {
      first = stored.value_or("").empty();
      if (first || replaceKeychainUUID()) idfa.setObject(identifier, kAccount);
    }
  }
  db_.update(keys::identify::kDocument, [&](MutableDocument& identify) {
    identify.setString(stored, keys::identify::kTempSavedIdfa);
    identify.setString("Y", keys::identify::kAttPopupDone);
  });
  return first;
}

std::optional<std::string> Identifiers::getKeychainUUID() {
  const auto vendorIdentifier = sources_.device->system().vendorIdentifier;
  const MutexLock lock(mutex_);
  return keychainUUID(vendorIdentifier);
}

std::optional<std::string> Identifiers::keychainUUID(const std::string& vendorIdentifier) {
  auto uuid = item(kUuidItem);
  if (!uuid.isReadable()) return std::nullopt;
  auto stored = uuid.objectForKey(kAccount);
  if (!stored.value_or("").empty()) return stored;
  uuid.setObject(vendorIdentifier, kAccount);
  return vendorIdentifier;
}

void Identifiers::changeKeychainUUID() {
  const MutexLock lock(mutex_);
  if (const auto uuid = replaceKeychainUUID()) {
    log_.debug("======== newUUID in changeKeychainUUID : " + *uuid, ZUL_HERE);
  }
}

// None when the keychain did not take it. Then the identifier whose change it follows from must not be stored either,
// or the change would never be seen again.
std::optional<std::string> Identifiers::replaceKeychainUUID() {
  auto uuid = randomUuid();
  if (!item(kUuidItem).setObject(uuid, kAccount)) return std::nullopt;
  return uuid;
}

std::string Identifiers::orNone(const std::string& identifier) {
  return identifier == kNoIdentifier ? "" : identifier;
}

// ---- in the document

std::string Identifiers::getUUID() const {
  const auto stored = db_.documentWithID(keys::identify::kDocument).stringForKey(keys::identify::kUuid);
  return stored ? *stored : randomUuid();
}

// Read under a misspelt key that nothing writes: the live identifier is what is always reported.
std::string Identifiers::getVendorId() const {
  const auto stored = db_.documentWithID(keys::identify::kDocument).stringForKey(keys::identify::kVendorIdRead);
  return stored ? *stored : sources_.device->system().vendorIdentifier;
}

std::string Identifiers::pkg() const {
  const auto stored = db_.documentWithID(keys::identify::kDocument).stringForKey(keys::identify::kPkgname);
  return stored ? *stored : sources_.bundle->bundleIdentifier();
}

boost::json::value Identifiers::getAppId(const std::string& pkg) {
  auto stored = db_.documentWithID(keys::identify::kDocument).valueForKey(keys::identify::kAppId);
  if (stored.is_string() || stored.is_number()) return stored;
  if (!background_) return lookUpAppId(pkg);
  lookUpInBackground(pkg);
  return nullptr;
}

// ---- the look-up

void Identifiers::lookUpEarly() {
  if (!background_) return;
  db_.whenReadable([this] {  // before that nobody knows whether there is something to ask
    background_->tasks.async(
        Tasks::Queue::global, [this] { getAppId(pkg()); }, ZUL_HERE);
  });
}

void Identifiers::lookUpInBackground(const std::string& pkg) {
  if (lookingUp_.exchange(true)) return;
  try {
    background_->tasks.async(
        Tasks::Queue::global,
        [this, pkg] {
          log_.guard([&] { storeFound(pkg); }, ZUL_HERE);
          lookingUp_ = false;
        },
        ZUL_HERE);
  } catch (...) {
    lookingUp_ = false;
    throw;
  }
}

void Identifiers::storeFound(const std::string& pkg) {
  const auto found = lookUpAppId(pkg);
  if (found.is_null()) return;
  db_.update(keys::identify::kDocument,
             [&](MutableDocument& identify) { identify.setValue(found, keys::identify::kAppId); });
  background_->stored();
}

boost::json::value Identifiers::lookUpAppId(const std::string& pkg) const {
  platform::HttpRequest request;
  request.url = "http://" + lookupHost_ + std::string(wire::kAppStoreLookup.path) + "?bundleId=" + pkg;
  request.timeout = kLookUpTimeout;
  const auto response = sources_.http->fetch(std::move(request));
  if (!response.ok() || !response.body) return nullptr;

  const auto answer = NetworkManager::getResponseDictionary(response.body);
  const auto* results = answer ? json::find(*answer, "results") : nullptr;
  if (!answer) {
    log_.error("Error: InvalidAnswerthe look-up's answer is not a JSON object", ZUL_HERE);
    return nullptr;
  }
  if (json::number(*answer, "resultCount") != 1.0) return nullptr;
  if (results && results->is_array() && !results->get_array().empty() && results->get_array()[0].is_object()) {
    const auto& first = results->get_array()[0].get_object();
    if (json::number(first, "trackId")) return first.at("trackId");
  }
  log_.error("Error: InvalidAnswerthe look-up's answer has no trackId", ZUL_HERE);
  return nullptr;
}

}  // namespace zul
