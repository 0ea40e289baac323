#include "SessionController.h"

#include <type_traits>
#include <utility>

#include "Json.h"
#include "LocalDB.h"
#include "SessionRecord.h"
#include "Uuid.h"
#include "ZULUtil.h"
#include "zul/Dictionary.h"

namespace zul {

namespace {

constexpr const char* kMessages = "inappMessageData";

/// a + b, or a alone when what a damaged document holds would take the sum out of range.
std::int64_t sum(std::int64_t a, std::int64_t b) {
  std::int64_t result = 0;
  return __builtin_add_overflow(a, b, &result) ? a : result;
}

}  // namespace

// Whoever writes looks again afterwards, so that of several threads at once the last commit is what stays shown.
template <typename Value>
void SessionController::show(const char* document, const char* key, Value SessionJson::*field) {
  db_.afterCommit([this, document, key, field] {
    const auto stored = [&]() -> Value {
      if constexpr (std::is_same_v<Value, SessionJson::Text>)
        return db_.documentWithID(document).stringForKey(key);
      else
        return db_.documentWithID(document).integerForKey(key);
    };
    std::optional<Value> shown;
    for (auto value = stored(); shown != value; value = stored()) {
      record_.editExisting([&](SessionJson& record) { record.*field = value; });
      shown = std::move(value);
    }
  });
}

// ---- a new session

void SessionController::resetSid() {
  db_.update("Identify", [](MutableDocument& identify) { identify.setString(randomUuid(), "sid"); });
}

void SessionController::resetVtTz() {
  const auto offset = db_.documentWithID("Install").integerForKey("timeOffset");
  const auto now = json::truncate(util_.currentTimeSecMulti1000());
  db_.update("Behavior", [&](MutableDocument& behavior) { behavior.setInteger(sum(now, offset), "vtTz"); });
}

void SessionController::updateIsVisitNew() {
  db_.updateExisting("Behavior", [](MutableDocument& behavior) { behavior.setString("Y", "visitNew"); });
}

// The end of the day is computed from the last session, those of week and month from now.
void SessionController::updateIsDf() {
  updateUnique("dailyUnique", "expireTimeForDaily", "DU");
}
void SessionController::updateIsWf() {
  updateUnique("weeklyUnique", "expireTimeForWeekly", "WU");
}
void SessionController::updateIsMf() {
  updateUnique("monthlyUnique", "expireTimeForMonthly", "MU");
}

void SessionController::updateUnique(std::string_view flagKey, std::string_view expiryKey, std::string_view period) {
  db_.updateExisting("Behavior", [&](MutableDocument& behavior) {
    const double now = util_.currentTimeSec();
    const auto recent = static_cast<double>(behavior.integerForKey("recentSessionTimeSec"));
    const bool first = recent <= 0 || now > behavior.numberForKey(expiryKey).value_or(0);
    behavior.setString(first ? "Y" : "N", flagKey);
    const double base = period == "DU" && recent > 0 ? recent : now;
    behavior.setDouble(util_.getExpireLongTime(base, period), expiryKey);
  });
}

// Unlike the three others this one keeps its period end until it has passed.
void SessionController::updateIsWfUs() {
  db_.updateExisting("Behavior", [&](MutableDocument& behavior) {
    const double now = util_.currentTimeSec();
    const bool first = behavior.numberForKey("recentSessionTimeSec").value_or(0) <= 0 ||
                       now > behavior.numberForKey("expireTimeForWeeklyUS").value_or(0);
    behavior.setString(first ? "Y" : "N", "weeklyUnique2");
    if (first) behavior.setDouble(util_.getExpireLongTimeForWeeklyUSType(now), "expireTimeForWeeklyUS");
  });
}

void SessionController::updateUdVt() {
  const auto periodDays = db_.documentWithID("AppInfo").integerForKey("expireDate");
  db_.updateExisting("Behavior", [&](MutableDocument& behavior) {
    const double now = util_.currentTimeSec();
    const auto days = ZULUtil::days(behavior.numberForKey("recentSessionTimeSec").value_or(now), now);
    const auto candidate = sum(behavior.integerForKey("userCriteriaVisit"), 1);
    behavior.setInteger(days < periodDays ? candidate : 1, "userCriteriaVisit");
  });
}

void SessionController::increment(std::string_view key) {
  db_.updateExisting("Behavior",
                     [&](MutableDocument& behavior) { behavior.setInteger(sum(behavior.integerForKey(key), 1), key); });
}

void SessionController::updateLtvt() {
  increment("lifeCriteriaVisit");
}
void SessionController::updateLtRvnVt() {
  increment("spendingVisitToPurchase");
}

void SessionController::updateLtVi() {
  db_.updateExisting("Behavior", [&](MutableDocument& behavior) {
    const double recent = behavior.numberForKey("recentSessionTimeSec").value_or(0);
    const auto gap = ZULUtil::days(recent, util_.currentTimeSec());
    behavior.setInteger(recent != 0 ? sum(behavior.integerForKey("lifeVisitInterval"), gap) : 0, "lifeVisitInterval");
  });
}

void SessionController::saveRecentSessionTimeSec() {
  db_.update("Behavior",
             [&](MutableDocument& behavior) { behavior.setDouble(util_.currentTimeSec(), "recentSessionTimeSec"); });
}

void SessionController::saveSessionExpireTime() {
  db_.update("Behavior", [&](MutableDocument& behavior) {
    behavior.setDouble(util_.currentTimeSec() + kSessionSeconds, "sessionExpireSec");
  });
}

void SessionController::checkToResetUdRvnc() {
  const auto periodDays = db_.documentWithID("AppInfo").integerForKey("expireDate");  // the record's _qzUdays
  db_.updateExisting("Behavior", [&](MutableDocument& behavior) {
    auto count = behavior.integerForKey("userCriteriaPurchase");
    if (const auto last = behavior.numberForKey("lastPurchaseTimeSec")) {
      if (periodDays <= ZULUtil::days(*last, util_.currentTimeSec())) count = 0;
    }
    behavior.setInteger(count, "userCriteriaPurchase");
    show("Behavior", "userCriteriaPurchase", &SessionJson::udRvnc);
  });
}

// ---- settings and markers

void SessionController::saveAppInfo(const Dictionary& settings) {
  db_.updateExisting("AppInfo", [&](MutableDocument& appInfo) {
    appInfo.setString(settings.string("domain"), "domain");
    for (const auto* key : {"serviceNumber", "expireDate", "useMode"}) appInfo.setInteger(settings.integer(key), key);
    for (const auto* key : {"isDebug", "isInstallRetention", "isFingerPrint"}) {
      appInfo.setBoolean(settings.boolean(key), key);
    }
  });
}

void SessionController::resetAboutNewVisitInfo() {
  db_.update("Behavior", [](MutableDocument& behavior) {
    for (const auto* key : {"visitNew", "dailyUnique", "weeklyUnique", "monthlyUnique", "weeklyUnique2"}) {
      behavior.setString("N", key);
    }
  });
  db_.afterCommit([this] {
    record_.editExisting(
        [](SessionJson& record) { record.isVisitNew = record.isDf = record.isWf = record.isMf = record.isWfUs = "N"; });
  });
}

void SessionController::reset(std::string_view document, std::string_view key, std::string_view value,
                              std::string_view onCreation) {
  db_.update(document, [&](MutableDocument& members) {
    if (members.isEmpty()) db_.afterCommit([this, onCreation] { log_.debug(onCreation); });
    members.setString(std::string(value), key);
  });
}

void SessionController::resetDrUpdate() {
  reset("DeeplinkReferrerInfo", "isDrUpdate", "N",
        "[SDK.SessionController.resetDrUpdate]: deeplinkReferrerDoc is nil. created CBLMutableDocument");
  db_.afterCommit([this] { record_.editExisting([](SessionJson& record) { record.isDrUpdate = "N"; }); });
}

void SessionController::resetIrUpdate() {
  reset("InstallReferrerInfo", "isIrUpdate", "N",
        "[SDK.SessionController.resetIrUpdate]: installReferrerDoc is nil. created CBLMutableDocument");
  db_.afterCommit([this] { record_.editExisting([](SessionJson& record) { record.isIrUpdate = "N"; }); });
}

void SessionController::resetOpenDl() {
  reset("DeeplinkReferrerInfo", "openDl", "",
        "[SDK.SessionController.resetOpenDl]: deeplinkReferrerDoc is nil. created CBLMutableDocument");
  db_.afterCommit([this] { record_.editExisting([](SessionJson& record) { record.openDl = ""; }); });
}

void SessionController::resetAidChange() {
  db_.afterCommit([this] { record_.editExisting([](SessionJson& record) { record.aidChange = "N"; }); });
}
void SessionController::resetSaveToken() {
  db_.afterCommit([this] { record_.editExisting([](SessionJson& record) { record.saveToken = "N"; }); });
}
void SessionController::resetUptAfv() {
  db_.afterCommit([this] { record_.editExisting([](SessionJson& record) { record.uptAfv = ""; }); });
}
void SessionController::resetPushTitle() {
  db_.afterCommit([this] { record_.editExisting([](SessionJson& record) { record.pushTitle = ""; }); });
}

// ---- pages, in-app messages, conversion values

void SessionController::resetPageKey() {
  db_.update("Behavior", [](MutableDocument& behavior) { behavior.setInteger(0, "pageKey"); });
  show("Behavior", "pageKey", &SessionJson::pageKey);
}

void SessionController::updatePiTraceWithPi(const std::string& pi) {
  db_.update("Behavior", [&](MutableDocument& behavior) {
    auto trail = behavior.stringForKey("piTrace").value_or("");
    trail += trail.empty() ? pi : "|" + pi;
    behavior.setString(trail, "piTrace");
  });
  show("Behavior", "piTrace", &SessionJson::piTrace);
}

void SessionController::updateSkAdadCurValue(std::int64_t value) {
  db_.update("skadNetworkData", [&](MutableDocument& document) { document.setInteger(value, "latestSkAdCurValue"); });
  show("skadNetworkData", "latestSkAdCurValue", &SessionJson::latestSkAdCurValue);
}

void SessionController::updateAlreadySeenMessageId(const std::string& id) {
  db_.update(kMessages, [&](MutableDocument& document) { document.setString(id, "alreadySeenCampaignId"); });
  show(kMessages, "alreadySeenCampaignId", &SessionJson::alreadySeenCampaignId);
  db_.afterCommit([this, id] { log_.debug("alreadySeenMeesageId : " + id); });
}

void SessionController::updateInamId(const std::string& id) {
  db_.update(kMessages, [&](MutableDocument& document) { document.setString(id, "inamId"); });
  show(kMessages, "inamId", &SessionJson::inamId);
  db_.afterCommit([this, id] { log_.debug("current inamId : " + id); });
}

void SessionController::updateInamClkTime(std::int64_t milliseconds) {
  db_.update(kMessages, [&](MutableDocument& document) { document.setInteger(milliseconds, "inamClkTime"); });
  show(kMessages, "inamClkTime", &SessionJson::inamClkTime);
  db_.afterCommit([this, milliseconds] { log_.debug("inamClkTime : " + std::to_string(milliseconds)); });
}

void SessionController::updateInamExpireTime(std::int64_t milliseconds) {
  db_.update(kMessages, [&](MutableDocument& document) { document.setInteger(milliseconds, "inamExpireTime"); });
  show(kMessages, "inamExpireTime", &SessionJson::inamExpireTime);
  db_.afterCommit([this, milliseconds] { log_.debug("inamExpireTime : " + std::to_string(milliseconds)); });
}

void SessionController::updateSesssionAboutEnvironment() {
  if (!record_.getSharedInstance()) {
    log_.debug("SessionJson is nil yet");
    return;
  }
  const auto environment = record_.environment();
  const auto isWifi = environment.getIsWifi();  // asks the system, which the record's lock is not held over
  record_.editExisting([&](SessionJson& record) {
    record.lng = environment.getLng();
    record.cntr = environment.getCntr();
    record.osvr = environment.getOsvr();
    record.os = environment.getOs();
    record.phone = environment.getPhone();
    record.cari = environment.getCari();
    record.tz = environment.getTz();
    record.isWifi = isWifi;
    record.sr = environment.getSr();
  });
}

}  // namespace zul
