#include "SessionController.h"

#include <utility>

#include "Json.h"
#include "Keys.h"
#include "LocalDB.h"
#include "Saturating.h"
#include "SessionRecord.h"
#include "Uuid.h"
#include "ZULUtil.h"
#include "zul/Dictionary.h"

namespace zul {

namespace {

using namespace keys;

constexpr const char* kNo = "N";

}  // namespace

// ---- a new session

void SessionController::resetSid() {
  db_.update(identify::kDocument, [](MutableDocument& document) { document.setString(randomUuid(), identify::kSid); });
}

void SessionController::resetVtTz() {
  const auto offset = db_.documentWithID(install::kDocument).integerForKey(install::kTimeOffset);
  const auto now = json::truncate(util_.currentTimeSecMulti1000());
  db_.update(behavior::kDocument,
             [&](MutableDocument& document) { document.setInteger(saturatedSum(now, offset), behavior::kVtTz); });
}

void SessionController::updateIsVisitNew() {
  db_.updateExisting(behavior::kDocument,
                     [](MutableDocument& document) { document.setString("Y", behavior::kVisitNew); });
}

// The end of the day is computed from the last session, those of week and month from now.
void SessionController::updateIsDf() {
  updateUnique(behavior::kDailyUnique, behavior::kExpireTimeForDaily, "DU");
}
void SessionController::updateIsWf() {
  updateUnique(behavior::kWeeklyUnique, behavior::kExpireTimeForWeekly, "WU");
}
void SessionController::updateIsMf() {
  updateUnique(behavior::kMonthlyUnique, behavior::kExpireTimeForMonthly, "MU");
}

void SessionController::updateUnique(std::string_view flagKey, std::string_view expiryKey, std::string_view period) {
  db_.updateExisting(behavior::kDocument, [&](MutableDocument& document) {
    const double now = util_.currentTimeSec();
    const auto recent = static_cast<double>(document.integerForKey(behavior::kRecentSessionTimeSec));
    const bool first = recent <= 0 || now > document.numberForKey(expiryKey).value_or(0);
    document.setString(first ? "Y" : "N", flagKey);
    const double base = period == "DU" && recent > 0 ? recent : now;
    document.setDouble(util_.getExpireLongTime(base, period), expiryKey);
  });
}

// Unlike the three others this one keeps its period end until it has passed.
void SessionController::updateIsWfUs() {
  db_.updateExisting(behavior::kDocument, [&](MutableDocument& document) {
    const double now = util_.currentTimeSec();
    const bool first = document.numberForKey(behavior::kRecentSessionTimeSec).value_or(0) <= 0 ||
                       now > document.numberForKey(behavior::kExpireTimeForWeeklyUs).value_or(0);
    document.setString(first ? "Y" : "N", behavior::kWeeklyUnique2);
    if (first) document.setDouble(util_.getExpireLongTimeForWeeklyUSType(now), behavior::kExpireTimeForWeeklyUs);
  });
}

void SessionController::updateUdVt() {
  const auto periodDays = db_.documentWithID(appinfo::kDocument).integerForKey(appinfo::kExpireDate);
  db_.updateExisting(behavior::kDocument, [&](MutableDocument& document) {
    const double now = util_.currentTimeSec();
    const auto days = ZULUtil::days(document.numberForKey(behavior::kRecentSessionTimeSec).value_or(now), now);
    const auto candidate = saturatedSum(document.integerForKey(behavior::kUserCriteriaVisit), 1);
    document.setInteger(days < periodDays ? candidate : 1, behavior::kUserCriteriaVisit);
  });
}

void SessionController::increment(MutableDocument& document, std::string_view key) {
  document.setInteger(saturatedSum(document.integerForKey(key), 1), key);
}

void SessionController::updateLtvt() {
  db_.updateExisting(behavior::kDocument,
                     [](MutableDocument& document) { increment(document, behavior::kLifeCriteriaVisit); });
}

void SessionController::updateLtVi() {
  db_.updateExisting(behavior::kDocument, [&](MutableDocument& document) {
    const double recent = document.numberForKey(behavior::kRecentSessionTimeSec).value_or(0);
    const auto gap = ZULUtil::days(recent, util_.currentTimeSec());
    document.setInteger(recent != 0 ? saturatedSum(document.integerForKey(behavior::kLifeVisitInterval), gap) : 0,
                        behavior::kLifeVisitInterval);
  });
}

void SessionController::saveRecentSessionTimeSec() {
  db_.update(behavior::kDocument, [&](MutableDocument& document) {
    document.setDouble(util_.currentTimeSec(), behavior::kRecentSessionTimeSec);
  });
}

void SessionController::saveSessionExpireTime() {
  db_.update(behavior::kDocument, [&](MutableDocument& document) {
    document.setDouble(util_.currentTimeSec() + kSessionSeconds, behavior::kSessionExpireSec);
  });
}

// ---- settings and markers

void SessionController::saveAppInfo(const Dictionary& settings) {
  db_.updateExisting(appinfo::kDocument, [&](MutableDocument& document) {
    document.setString(settings.string(appinfo::kDomain), appinfo::kDomain);
    for (const auto key : {appinfo::kServiceNumber, appinfo::kExpireDate, appinfo::kUseMode}) {
      document.setInteger(settings.integer(key), key);
    }
    for (const auto key : {appinfo::kIsDebug, appinfo::kIsInstallRetention, appinfo::kIsFingerPrint}) {
      document.setBoolean(settings.boolean(key), key);
    }
  });
  record_.showDocument(appinfo::kDocument);  // also a token that was stored before
}

void SessionController::resetAboutNewVisitInfo() {
  db_.transaction([this] {
    record_.set<&SessionJson::isVisitNew>(kNo);
    record_.set<&SessionJson::isDf>(kNo);
    record_.set<&SessionJson::isWf>(kNo);
    record_.set<&SessionJson::isMf>(kNo);
    record_.set<&SessionJson::isWfUs>(kNo);
  });
}

// `line` is a literal.
void SessionController::announceCreation(std::string_view document, std::string_view line) {
  if (db_.documentWithID(document).exists()) return;
  db_.afterCommit([this, line] { log_.debug(line, ZUL_HERE); });
}

void SessionController::resetDrUpdate() {
  db_.transaction([this] {
    announceCreation(deeplink::kDocument,
                     "[SDK.SessionController.resetDrUpdate]: deeplinkReferrerDoc is nil. created CBLMutableDocument");
    record_.set<&SessionJson::isDrUpdate>(kNo);
  });
}

void SessionController::resetIrUpdate() {
  db_.transaction([this] {
    announceCreation(installreferrer::kDocument,
                     "[SDK.SessionController.resetIrUpdate]: installReferrerDoc is nil. created CBLMutableDocument");
    record_.set<&SessionJson::isIrUpdate>(kNo);
  });
}

void SessionController::resetOpenDl() {
  db_.transaction([this] {
    announceCreation(deeplink::kDocument,
                     "[SDK.SessionController.resetOpenDl]: deeplinkReferrerDoc is nil. created CBLMutableDocument");
    record_.set<&SessionJson::openDl>("");
  });
}

void SessionController::resetAidChange() {
  db_.afterCommit([this] { record_.editExisting([](SessionJson& record) { record.aidChange = kNo; }); });
}
void SessionController::resetSaveToken() {
  db_.afterCommit([this] { record_.editExisting([](SessionJson& record) { record.saveToken = kNo; }); });
}
void SessionController::resetUptAfv() {
  db_.afterCommit([this] { record_.editExisting([](SessionJson& record) { record.uptAfv = ""; }); });
}
void SessionController::resetPushTitle() {
  db_.afterCommit([this] { record_.editExisting([](SessionJson& record) { record.pushTitle = ""; }); });
}

// ---- pages, in-app messages, conversion values

void SessionController::resetPageKey() {
  record_.set<&SessionJson::pageKey>(std::int64_t{0});
}

void SessionController::updatePiTraceWithPi(const std::string& pi) {
  db_.update(behavior::kDocument, [&](MutableDocument& document) {
    auto trail = document.stringForKey(behavior::kPiTrace).value_or("");
    trail += trail.empty() ? pi : "|" + pi;
    document.setString(trail, behavior::kPiTrace);
  });
  record_.show<&SessionJson::piTrace>();
}

void SessionController::updateSkAdadCurValue(std::int64_t value) {
  record_.set<&SessionJson::latestSkAdCurValue>(value);
}

void SessionController::updateAlreadySeenMessageId(const std::string& id) {
  db_.whenReadable([this, id] {
    record_.set<&SessionJson::alreadySeenCampaignId>(id);
    db_.afterCommit([this, id] { log_.debug("alreadySeenMeesageId : " + id, ZUL_HERE); });
  });
}

void SessionController::updateInamId(const std::string& id) {
  db_.whenReadable([this, id] {
    record_.set<&SessionJson::inamId>(id);
    db_.afterCommit([this, id] { log_.debug("current inamId : " + id, ZUL_HERE); });
  });
}

void SessionController::updateInamClkTime(std::int64_t milliseconds) {
  db_.whenReadable([this, milliseconds] {
    record_.set<&SessionJson::inamClkTime>(milliseconds);
    db_.afterCommit([this, milliseconds] { log_.debug("inamClkTime : " + std::to_string(milliseconds), ZUL_HERE); });
  });
}

void SessionController::updateInamExpireTime(std::int64_t milliseconds) {
  db_.whenReadable([this, milliseconds] {
    record_.set<&SessionJson::inamExpireTime>(milliseconds);
    db_.afterCommit([this, milliseconds] { log_.debug("inamExpireTime : " + std::to_string(milliseconds), ZUL_HERE); });
  });
}

void SessionController::updateSesssionAboutEnvironment() {
  if (!record_.getSharedInstance()) log_.debug("SessionJson is nil yet", ZUL_HERE);
  record_.refreshEnvironment();  // also where there is none: one that is being made is begun again
}

}  // namespace zul
