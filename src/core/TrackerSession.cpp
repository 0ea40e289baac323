#include "Json.h"
#include "LocalDB.h"
#include "NHNetworkClock.h"
#include "SessionRecord.h"
#include "Tracker.h"
#include "ZULUtil.h"
#include "zul/CustomWKWebViewConfiguration.h"
#include "zul/platform/Dispatcher.h"

namespace zul {

// ---- the one-second timer

void Tracker::createUpdateTimer() {
  auto timer = services_.dispatcher->repeat(1.0, [this] { log_.guard([this] { oneSecondTimerTick(); }); });
  locked([&](Fields& fields) { fields.oneSecondTimer.swap(timer); });
}

void Tracker::oneSecondTimerTick() {
  if (!services_.networkClock.isSynchronized()) return;
  if (NTPtimeGetDone_.exchange(true)) return;  // the timer stays and ticks idly
  const auto timer = locked([](Fields& fields) { return std::move(fields.oneSecondTimer); });
  const double network = services_.util.getCurrentNTPTimeSec();
  const double device = services_.util.currentTimeSec();
  services_.db.update("Install", [&](MutableDocument& install) {
    if (firstExcute_) install.setDouble(network * 1000, "installTime");
    install.setDouble((network - device) * 1000, "timeOffset");
  });
  log_.debug("time sync done");
}

// ---- sessions

bool Tracker::sessionExpired() {
  const auto expiry = services_.db.documentWithID("Behavior").numberForKey("sessionExpireSec");
  return !expiry || *expiry == 0.0 || services_.util.currentTimeSec() > *expiry;
}

bool Tracker::checkNewSession() {
  const bool expired = sessionExpired();
  newSessionYN_ = expired;
  return expired;
}

void Tracker::accountNewSession() {
  auto& controller = sessionController_;
  services_.db.transaction([&] {
    controller.resetSid();
    controller.resetVtTz();
    controller.updateIsVisitNew();
    controller.updateIsDf();
    controller.updateIsWf();
    controller.updateIsMf();
    controller.updateIsWfUs();
    controller.updateUdVt();
    controller.updateLtvt();
    controller.updateLtVi();
    controller.updateLtRvnVt();
    controller.saveRecentSessionTimeSec();
    controller.saveSessionExpireTime();
    controller.checkToResetUdRvnc();
  });
  // A record that another thread made meanwhile shows the session before.
  services_.record.clearInstance();
}

// Of several threads that see the same session expired, one begins the new one.
void Tracker::beginSessionIfExpired(int type) {
  bool begun = false;
  services_.db.transaction([&] {
    begun = sessionExpired();
    if (begun) accountNewSession();
  });
  if (begun) services_.record.clearInstance();
  if (begun && type == 1) {
    const auto session = buildSessionJson();
    locked([&](Fields& fields) { fields.entireJson = session; });
    upload(session);
  }
}

void Tracker::occurNewSessionWithType(int type) {
  accountNewSession();
  if (type != 1) return;
  const auto session = buildSessionJson();
  locked([&](Fields& fields) { fields.entireJson = session; });
  upload(session);
}

// The flag is read once: a start-up that completes in between would let a payload out without its session.
bool Tracker::sendTransaction() {
  const bool initialized = ZULinitYN_;
  if (checkNewSession() && initialized) beginSessionIfExpired(2);
  makeJson(initialized);
  return true;
}

bool Tracker::sendTransactionByPage() {
  const bool initialized = ZULinitYN_;
  if (checkNewSession() && initialized) beginSessionIfExpired(2);
  makeJsonByPage(initialized);
  return true;
}

// ---- payload

Tracker::Payload Tracker::buildSessionJson() {
  auto extras = locked([](Fields& fields) { return fields.extras; });
  extras.clientUserAgent = services_.webView.clientUserAgent();
  const auto session = std::make_shared<const std::string>(sessionPayload(*services_.record.sharedInstance(), extras));
  if (*session != "{}") log_.debug("================self.sessionJsonDict=================== :" + *session);
  auto replaced = session;
  locked([&](Fields& fields) { fields.sessionJsonDict.swap(replaced); });
  return session;
}

void Tracker::createSessionJson() {
  buildSessionJson();
}

void Tracker::makeJson() {
  makeJson(ZULinitYN_);
}

void Tracker::makeJson(bool initialized) {
  log_.debug("makeJson in ZULSession");
  wrapAndSend(buildSessionJson(), initialized);
}

void Tracker::makeJsonByPage() {
  makeJsonByPage(ZULinitYN_);
}

void Tracker::makeJsonByPage(bool initialized) {
  wrapAndSend(addPairingData(buildSessionJson()), initialized);
}

Tracker::Payload Tracker::addPairingData(const Payload& session) {
  const auto pairs = locked([](Fields& fields) { return fields.tempPairingData; });
  log_.debug("self.tempPairingData :" + (pairs ? json::text(*pairs) : "(null)"));
  if (!pairs || pairs->empty()) return session;
  auto object = json::parseObject(*session).value_or(Object());
  for (const auto& pair : *pairs) object[pair.key()] = pair.value();
  const auto paired = std::make_shared<const std::string>(json::text(object));
  locked([&](Fields& fields) { fields.sessionJsonDict = paired; });
  return paired;
}

void Tracker::setTempPairingData(const std::optional<Dictionary>& pairs) {
  locked([&](Fields& fields) {
    fields.tempPairingData = pairs ? std::optional(DictionaryAccess::object(*pairs)) : std::nullopt;
  });
}

void Tracker::createEntireJson() {
  wrapAndSend(locked([](Fields& fields) { return fields.sessionJsonDict; }), ZULinitYN_);
}

void Tracker::createEntireJson2() {
  createEntireJson();
}

void Tracker::wrapAndSend(const Payload& session, bool initialized) {
  locked([&](Fields& fields) { fields.entireJson = initialized ? session : nullptr; });
  if (initialized) upload(session);
}

Dictionary Tracker::getSessionData() {
  return Dictionary::fromJson(*buildSessionJson()).value_or(Dictionary());
}

}  // namespace zul
