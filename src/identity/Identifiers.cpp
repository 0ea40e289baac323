#include "Identifiers.h"

#include <utility>

#include "Endpoints.h"
#include "Json.h"
#include "Keys.h"
#include "LocalDB.h"
#include "NetworkManager.h"
#include "Uuid.h"
#include "zul/Deployment.h"
#include "zul/platform/Bundle.h"
#include "zul/platform/Device.h"
#include "zul/platform/HttpClient.h"

namespace zul {

namespace {

constexpr std::string_view kNoIdentifier = "00000000-0000-0000-0000-000000000000";  // tracking is not allowed
constexpr double kLookUpTimeout = 60;                                               // seconds

}  // namespace

Identifiers::Identifiers(LocalDB& db, std::shared_ptr<platform::Device> device,
                         std::shared_ptr<platform::Bundle> bundle, std::shared_ptr<platform::HttpClient> http,
                         const Deployment& deployment, Log log, std::optional<Background> background)
    : db_(db),
      device_(std::move(device)),
      bundle_(std::move(bundle)),
      http_(std::move(http)),
      lookupHost_(deployment.appStoreLookupHost),
      log_(std::move(log)),
      background_(std::move(background)) {}

Identity Identifiers::refresh() {
  const auto system = device_->system();
  Identity identity;
  identity.advtId = getIdfa();
  identity.advtFlag = device_->advertising().trackingEnabled ? 0 : 1;
  identity.keychainUUID = system.vendorIdentifier;
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

std::string Identifiers::getUUID() const {
  const auto stored = db_.documentWithID(keys::identify::kDocument).stringForKey(keys::identify::kUuid);
  return stored ? *stored : randomUuid();
}

// Read under a misspelt key that nothing writes: the live identifier is what is always reported.
std::string Identifiers::getVendorId() const {
  const auto stored = db_.documentWithID(keys::identify::kDocument).stringForKey(keys::identify::kVendorIdRead);
  return stored ? *stored : device_->system().vendorIdentifier;
}

std::optional<std::string> Identifiers::getIdfa() const {
  auto identifier = device_->advertising().identifier;
  if (identifier == kNoIdentifier) return std::nullopt;
  return identifier;
}

std::string Identifiers::pkg() const {
  const auto stored = db_.documentWithID(keys::identify::kDocument).stringForKey(keys::identify::kPkgname);
  return stored ? *stored : bundle_->bundleIdentifier();
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
  background_->tasks.async(
      Tasks::Queue::global, [this] { getAppId(pkg()); }, ZUL_HERE);
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
  const auto response = http_->fetch(std::move(request));
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
