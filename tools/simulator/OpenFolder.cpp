// The command open: a device that goes on from what an application has stored.

#include <algorithm>
#include <cmath>
#include <cstdlib>

#include "Json.h"
#include "Keys.h"
#include "Simulator.h"
#include "StoredFolder.h"
#include "Views.h"

namespace zul::simulator {

namespace {

using boost::json::object;
using boost::json::value;

constexpr double kSessionSeconds = 1800;
constexpr double kLatestMoment = 253402300799;  // the end of the year 9999

/// The documents, of which any may be missing or hold anything.
class Documents {
 public:
  explicit Documents(const std::vector<platform::StoredRow>& rows) {
    for (const auto& row : rows) documents_[row.key] = json::parseObject(row.text).value_or(object());
  }
  const object& document(std::string_view name) const {
    static const object none;
    const auto* const found = documents_.if_contains(name);
    return found ? found->get_object() : none;
  }
  std::string text(std::string_view name, std::string_view key) const {
    return json::string(document(name), key).value_or("");
  }
  double number(std::string_view name, std::string_view key) const {
    return json::number(document(name), key).value_or(0);
  }
  boost::json::array names() const {
    boost::json::array names;
    for (const auto& document : documents_) names.emplace_back(document.key());
    return names;
  }

 private:
  object documents_;
};

// The settings that the application was configured with, as its last start-up has stored them. The token stays stored.
object settingsOf(const Documents& documents) {
  using namespace keys::appinfo;
  object settings;
  for (const auto key :
       {kDomain, kServiceNumber, kExpireDate, kIsDebug, kIsInstallRetention, kIsFingerPrint, kUseMode}) {
    if (const auto* const stored = documents.document(kDocument).if_contains(key)) settings[key] = *stored;
  }
  return settings;
}

// When the device was last heard of, by its own clock; 0 where nothing tells.
double latestMoment(const Documents& documents) {
  using namespace keys::behavior;
  const double visit = documents.number(kDocument, kRecentSessionTimeSec);
  const double upload = documents.number(kDocument, kSessionExpireSec) - kSessionSeconds;
  const double latest = std::max(visit, upload);
  return latest > 0 && latest < kLatestMoment ? latest : 0;
}

// What the device gave to the application, and the store remembers.
void restoreDevice(platform::SimulatedDevice::Values& values, const Documents& documents, const StoredFolder& stored) {
  constexpr std::int64_t kAuthorized = 3;
  const auto vendor = documents.text(keys::identify::kDocument, keys::identify::kVendorId);
  if (!vendor.empty()) values.vendorIdentifier = vendor;
  const auto idfa = stored.keychain.find("IDFA");
  if (idfa == stored.keychain.end()) return;
  const auto account = idfa->second.find(platform::Keychain::kSecAttrAccount);
  if (account == idfa->second.end() || account->second.empty()) return;
  values.identifier = account->second;
  values.trackingEnabled =
      json::integer(documents.document(keys::attstatus::kDocument), keys::attstatus::kAttAuthStatus) == kAuthorized;
}

}  // namespace

void Simulator::open(Arguments& arguments) {
  using Table = platform::DocumentStore::Table;
  const auto folder = arguments.word("the folder");
  arguments.end();
  auto stored = readStoredFolder(folder);
  const Documents documents(stored.rows[Table::documents]);

  phone_.reinstall();
  auto& sim = phone_.sim;
  for (const auto& [table, rows] : stored.rows) {
    for (const auto& row : rows) sim.store->put(table, row.key, row.text);
  }
  sim.keychain->clear();
  for (const auto& [identifier, item] : stored.keychain) sim.keychain->put(identifier, item);
  for (const auto& [key, number] : stored.defaults) sim.userDefaults->setNumber(key, number);
  restoreDevice(sim.device->values, documents, stored);
  if (auto settings = settingsOf(documents); !settings.empty()) {
    setInfo({{"zulAuthorizationKey", std::move(settings)}});
  } else {
    stored.remarks.emplace_back("the application has not stored its settings: they are those of this device");
  }
  if (const auto package = documents.text(keys::identify::kDocument, keys::identify::kPkgname); !package.empty()) {
    setInfo({{"CFBundleIdentifier", package}});
  }
  if (const double moment = latestMoment(documents); moment > 0) {
    sim.clock->set(moment);
  } else {
    stored.remarks.emplace_back("nothing tells when the device was last used: the clock stays as it is");
  }

  boost::json::array items;
  for (const auto& item : stored.keychain) items.emplace_back(item.first);
  shown_ = object{{"layout", stored.layout},
                  {"documents", documents.names()},
                  {"queued", stored.rows[Table::queue].size()},
                  {"keychain", std::move(items)},
                  {"time", clockView(*sim.clock)["time"]},
                  {"remarks", boost::json::array(stored.remarks.begin(), stored.remarks.end())}};
}

}  // namespace zul::simulator
