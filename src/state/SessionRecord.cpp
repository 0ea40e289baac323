#include "SessionRecord.h"

#include <string_view>

#include "Json.h"
#include "LocalDB.h"
#include "Uuid.h"
#include "zul/Deployment.h"
#include "zul/platform/Bundle.h"
#include "zul/platform/Device.h"
#include "zul/platform/HttpClient.h"

namespace zul {

namespace {

using Text = SessionJson::Text;

struct StoredText {
  Text SessionJson::*field;
  std::string_view document;
  std::string_view key;
};

struct StoredInteger {
  std::int64_t SessionJson::*field;
  std::string_view document;
  std::string_view key;
  std::int64_t whenZero = 0;
};

struct StoredFlag {
  bool SessionJson::*field;
  std::string_view document;
  std::string_view key;
};

using S = SessionJson;

constexpr StoredText kTexts[] = {
    {&S::_accessToken, "AppInfo", "accessToken"},
    {&S::mbr, "UserInfo", "member"},
    {&S::sx, "UserInfo", "gender"},
    {&S::ag, "UserInfo", "age"},
    {&S::mbl, "UserInfo", "memberGrade"},
    {&S::mbid, "UserInfo", "memberId"},
    {&S::isLogin, "UserInfo", "isLogin"},
    {&S::loginTp, "UserInfo", "loginTp"},
    {&S::signupTp, "UserInfo", "signupTp"},
    {&S::isVisitNew, "Behavior", "visitNew"},
    {&S::isDf, "Behavior", "dailyUnique"},
    {&S::isWf, "Behavior", "weeklyUnique"},
    {&S::isMf, "Behavior", "monthlyUnique"},
    {&S::isWfUs, "Behavior", "weeklyUnique2"},
    {&S::lastOrderNo, "Behavior", "lastPurchaseNo"},
    {&S::firstOrd, "Behavior", "isFirstPurchase"},
    {&S::pushtk, "Notification", "pushtk"},
    {&S::pushNo, "Notification", "pushId"},
    {&S::pushTitle, "Notification", "pushTitle"},
    {&S::latestGcmpid, "DeeplinkReferrerInfo", "latestGcmpid"},
    {&S::its, "InstallReferrerInfo", "its"},
    {&S::itm, "InstallReferrerInfo", "itm"},
    {&S::itc, "InstallReferrerInfo", "itc"},
    {&S::itw, "InstallReferrerInfo", "itw"},
    {&S::itaffid, "InstallReferrerInfo", "itaffid"},
    {&S::itbffid, "InstallReferrerInfo", "itbffid"},
    {&S::installReferrer, "InstallReferrerInfo", "installReferrer"},
    {&S::isIrUpdate, "InstallReferrerInfo", "isIrUpdate"},
    {&S::qzs, "DeeplinkReferrerInfo", "qzs"},
    {&S::qzm, "DeeplinkReferrerInfo", "qzm"},
    {&S::qzc, "DeeplinkReferrerInfo", "qzc"},
    {&S::qzw, "DeeplinkReferrerInfo", "qzw"},
    {&S::qzaffid, "DeeplinkReferrerInfo", "qzaffid"},
    {&S::qzbffid, "DeeplinkReferrerInfo", "qzbffid"},
    {&S::qzref, "DeeplinkReferrerInfo", "qzref"},
    {&S::isDrUpdate, "DeeplinkReferrerInfo", "isDrUpdate"},
    {&S::openDl, "DeeplinkReferrerInfo", "openDl"},
    {&S::alreadySeenCampaignId, "inappMessageData", "alreadySeenCampaignId"},
    {&S::inamId, "inappMessageData", "inamId"},
};

// A new install is on its first visit, whatever the store says of it: these three never read 0.
constexpr StoredInteger kIntegers[] = {
    {&S::installTime, "Install", "installTime"},
    {&S::_qzno, "AppInfo", "serviceNumber"},
    {&S::_qzUdays, "AppInfo", "expireDate"},
    {&S::useMode, "AppInfo", "useMode"},
    {&S::udVt, "Behavior", "userCriteriaVisit", 1},
    {&S::ltvt, "Behavior", "lifeCriteriaVisit", 1},
    {&S::vtTz, "Behavior", "vtTz"},
    {&S::ltVi, "Behavior", "lifeVisitInterval"},
    {&S::pageKey, "Behavior", "pageKey"},
    {&S::pushCkTime, "Notification", "pushCkTime"},
    {&S::pushPeriod, "Notification", "pushPeriod"},
    {&S::pushExpiredTime, "Notification", "pushExpireTime"},  // not "pushExpiredTime", which others write
    {&S::udRvnc, "Behavior", "userCriteriaPurchase"},
    {&S::ltRvnc, "Behavior", "lifeCriteriaPurchase"},
    // csRvnVs is not read back: every record starts it at 0.
    {&S::ltrvni, "Behavior", "lifePurchaseInterval"},
    {&S::ltrvn, "Behavior", "lifePurchaseAmount"},
    {&S::ltRvnVt, "Behavior", "spendingVisitToPurchase", 1},
    {&S::itp, "InstallReferrerInfo", "itp"},
    {&S::itclkTime, "InstallReferrerInfo", "itclkTime"},
    {&S::qzp, "DeeplinkReferrerInfo", "qzp"},
    {&S::qzclkTime, "DeeplinkReferrerInfo", "qzclkTime"},
    {&S::inamClkTime, "inappMessageData", "inamClkTime"},
    {&S::inamExpireTime, "inappMessageData", "inamExpireTime"},
    {&S::latestSkAdCurValue, "skadNetworkData", "latestSkAdCurValue"},
};

constexpr StoredFlag kFlags[] = {
    {&S::_qzDebug, "AppInfo", "isDebug"},
    {&S::_qzUseRetention, "AppInfo", "isInstallRetention"},
    {&S::_qzUseFingerPrint, "AppInfo", "isFingerPrint"},
};

}  // namespace

SessionRecord::SessionRecord(LocalDB& db, Environment::Sources sources, std::shared_ptr<platform::HttpClient> http,
                             const Deployment& deployment, Log log)
    : db_(db),
      sources_(std::move(sources)),
      http_(std::move(http)),
      collectorBaseUrl_(deployment.collectorBaseUrl),
      lookupHost_(deployment.appStoreLookupHost),
      log_(std::move(log)) {}

SessionRecord::Current SessionRecord::getSharedInstance() const {
  const std::lock_guard lock(mutex_);
  return current_;
}

SessionRecord::Current SessionRecord::sharedInstance() {
  std::optional<boost::json::value> foundAppId;  // looked up once, however often the record has to be begun again
  while (true) {
    std::uint64_t generation = 0;
    {
      const std::lock_guard lock(mutex_);
      if (current_) return current_;
      generation = generation_;
    }
    auto made = std::make_shared<const SessionJson>(initUniqueInstance(foundAppId));
    const std::lock_guard lock(mutex_);
    if (!current_ && generation == generation_) current_ = std::move(made);
    if (current_) return current_;
  }
}

void SessionRecord::clearInstance() {
  const std::lock_guard lock(mutex_);
  current_ = nullptr;
  ++generation_;
}

void SessionRecord::edit(const Edit& edit) {
  sharedInstance();
  editExisting(edit);
}

void SessionRecord::editExisting(const Edit& edit) {
  const std::lock_guard lock(mutex_);
  if (!current_) {
    ++generation_;  // one that is being made may have read the store before this change: it is begun again
    return;
  }
  auto changed = std::make_shared<SessionJson>(*current_);
  edit(*changed);
  current_ = std::move(changed);
}

SessionJson SessionRecord::initUniqueInstance(std::optional<boost::json::value>& foundAppId) {
  log_.debug("SessionJson initUniqueInstance");
  SessionJson record;
  record.sdk_version = "1.1.5";
  record._qzhst = collectorBaseUrl_;
  readEnvironment(record);
  readIdentifiers(record, foundAppId);
  readStore(record);  // from the disk, where that has to be, so that it is in memory below
  // In one transaction, so that the session that another thread begins just now is in it as a whole or not at all.
  db_.transaction([&] {
    readStore(record);
    storeIdentifiers(record);
  });
  return record;
}

void SessionRecord::readStore(SessionJson& record) {
  for (const auto& entry : kTexts) record.*entry.field = db_.documentWithID(entry.document).stringForKey(entry.key);
  for (const auto& entry : kIntegers) {
    record.*entry.field = db_.documentWithID(entry.document).integerForKey(entry.key);
    if (record.*entry.field == 0) record.*entry.field = entry.whenZero;
  }
  for (const auto& entry : kFlags) record.*entry.field = db_.documentWithID(entry.document).booleanForKey(entry.key);

  const auto user = db_.documentWithID("UserInfo");
  for (std::size_t n = 0; n < record.ut.size(); ++n) {
    record.ut[n] = user.stringForKey("attribute" + std::to_string(n + 1));
  }
  const auto campaigns = db_.documentWithID("InternalCampaign");
  for (std::size_t n = 0; n < record.inrc.size(); ++n) {
    // Slot 2 is filled from slot 1's values: a restarted record shows them until slot 2 is set again.
    const auto slot = std::to_string(n == 1 ? 1 : n + 1);
    record.inrc[n] = {campaigns.stringForKey("inrc" + slot), campaigns.integerForKey("inrcTime" + slot),
                      campaigns.integerForKey("inrcDt" + slot)};
  }
  if (!record.lastOrderNo) record.lastOrderNo = "";
  if (!record.firstOrd) record.firstOrd = "N";
}

void SessionRecord::readEnvironment(SessionJson& record) const {
  const auto environment = this->environment();
  record.lng = environment.getLng();
  record.cntr = environment.getCntr();
  record.tz = environment.getTz();
  record.os = environment.getOs();
  record.osvr = environment.getOsvr();
  record.sr = environment.getSr();
  record.phone = environment.getPhone();
  record.apVr = environment.getApVr();
  record.cari = environment.getCari();
  record.isWifi = environment.getIsWifi();
  record.plat = environment.getPlatfrom();
  record.dSource = "SDK";
}

void SessionRecord::readIdentifiers(SessionJson& record, std::optional<boost::json::value>& foundAppId) {
  const auto device = sources_.device->read();
  record.advtId = environment().getAdvertisingId();
  record.advtFlag = device->advertisingTrackingEnabled ? 0 : 1;
  record.ip = device->ipv4Address.value_or("0.0.0.0");
  record.keychainUUID = device->vendorIdentifier;

  const auto identify = db_.documentWithID("Identify");
  record.vendorId = getVendorId();
  record.buildMode = identify.booleanForKey("buildMode") ? "dev" : "prod";
  const auto pkg = identify.stringForKey("pkgname");
  record.pkg = pkg ? pkg : Text(sources_.bundle->bundleIdentifier());
  record.appId = identify.valueForKey("appId");
  if (!record.appId.is_string() && !record.appId.is_number()) {
    if (!foundAppId) foundAppId = lookUpAppId(*record.pkg);
    record.appId = *foundAppId;
  }
}

// Two threads that make a record at once agree on the uuid.
void SessionRecord::storeIdentifiers(SessionJson& record) {
  db_.update("Identify", [&](MutableDocument& document) {
    record.uuid = getUUID();
    record.sid = document.stringForKey("sid");
    document.setString(record.uuid, "uuid");
    document.setString(record.vendorId, "vendorId");
    document.setString(record.pkg, "pkgname");
    if (!record.appId.is_null()) document.setValue(record.appId, "appId");
  });
}

std::string SessionRecord::getUUID() {
  const auto stored = db_.documentWithID("Identify").stringForKey("uuid");
  return stored ? *stored : randomUuid();
}

// Read under a misspelt key that nothing writes: the live identifier is what is always reported.
std::string SessionRecord::getVendorId() {
  const auto stored = db_.documentWithID("Identify").stringForKey("verdorId");
  return stored ? *stored : sources_.device->read()->vendorIdentifier;
}

boost::json::value SessionRecord::lookUpAppId(const std::string& pkg) const {
  platform::HttpRequest request;
  request.url = "http://" + lookupHost_ + "/lookup?bundleId=" + pkg;
  request.timeout = 60;
  const auto response = http_->fetch(std::move(request));
  if (!response.ok() || !response.body) return nullptr;

  const auto answer = json::parseObject(*response.body);
  const auto* results = answer ? json::find(*answer, "results") : nullptr;
  if (!answer) {
    log_.error("Error: InvalidAnswerthe look-up's answer is not a JSON object");
    return nullptr;
  }
  if (json::number(*answer, "resultCount") != 1.0) return nullptr;
  if (results && results->is_array() && !results->get_array().empty() && results->get_array()[0].is_object()) {
    const auto& first = results->get_array()[0].get_object();
    if (json::number(first, "trackId")) return first.at("trackId");
  }
  log_.error("Error: InvalidAnswerthe look-up's answer has no trackId");
  return nullptr;
}

}  // namespace zul
