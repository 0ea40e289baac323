#include "Keys.h"
#include "LocalDB.h"
#include "NHNetworkClock.h"
#include "SessionRecord.h"
#include "Tracker.h"
#include "ZULUtil.h"
#include "zul/platform/Dispatcher.h"

namespace zul {

using namespace keys;

// ---- the one-second timer

void Tracker::createUpdateTimer() {
  auto timer = services_.tasks.repeat(
      1.0, [this] { oneSecondTimerTick(); }, ZUL_HERE);
  const MutexLock lock(mutex_);
  oneSecondTimer_.swap(timer);
}

void Tracker::oneSecondTimerTick() {
  if (!services_.networkClock.isSynchronized()) return;
  if (NTPtimeGetDone_) return;  // the timer stays and ticks idly
  std::unique_ptr<platform::Timer> timer;
  {
    const MutexLock lock(mutex_);
    timer.swap(oneSecondTimer_);
  }
  const double network = services_.util.getCurrentNTPTimeSec();
  const double device = services_.util.currentTimeSec();
  bool taken = false;
  services_.db.transaction([&] {
    if (NTPtimeGetDone_) return;  // the start-up's completion was first
    services_.db.update(install::kDocument, [&](MutableDocument& document) {
      if (firstExcute_) document.setDouble(network * 1000, install::kInstallTime);
      document.setDouble((network - device) * 1000, install::kTimeOffset);
    });
    NTPtimeGetDone_ = taken = true;
  });
  if (taken) log_.debug("time sync done", ZUL_HERE);
}

// ---- sessions

bool Tracker::sessionExpired() {
  const auto expiry = services_.db.documentWithID(behavior::kDocument).numberForKey(behavior::kSessionExpireSec);
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
    // Before the commit: whoever finds the session begun must not find the record of the one before it. A record that
    // is made meanwhile waits for this transaction.
    services_.record.clearInstance();
  });
}

// Of several threads that see the same session expired, one begins the new one.
void Tracker::beginSessionIfExpired(int type) {
  bool begun = false;
  services_.db.transaction([&] {
    begun = sessionExpired();
    if (begun) accountNewSession();
  });
  if (begun && type == 1) sendNewSession();
}

void Tracker::occurNewSessionWithType(int type) {
  accountNewSession();
  if (type == 1) sendNewSession();
}

void Tracker::sendNewSession() {
  const auto session = payloads_.createSessionJson();
  payloads_.setEntireJson(session);
  upload(session);
}

// The flag is read once: a start-up that completes in between would let a payload out without its session.
void Tracker::report(const Event& event) {
  const bool initialized = ZULinitYN_;
  if (!initialized && waitsForStore(event)) return;
  if (checkNewSession() && initialized) beginSessionIfExpired(2);
  if (event.byPage) {
    makeJsonByPage(event.pairs, initialized);
  } else {
    makeJson(initialized);
  }
}

bool Tracker::sendTransaction() {
  report({});
  return true;
}

bool Tracker::sendTransactionByPage() {
  report({true, payloads_.tempPairingData()});
  return true;
}

// ---- payloads

void Tracker::makeJson() {
  makeJson(ZULinitYN_);
}

void Tracker::makeJson(bool initialized) {
  log_.debug("makeJson in ZULSession", ZUL_HERE);
  wrapAndSend(payloads_.createSessionJson(), initialized);
}

void Tracker::makeJsonByPage() {
  makeJsonByPage(payloads_.tempPairingData(), ZULinitYN_);
}

void Tracker::makeJsonByPage(const Payloads::Pairs& pairs, bool initialized) {
  wrapAndSend(payloads_.createPageJson(pairs), initialized);
}

void Tracker::createEntireJson() {
  wrapAndSend(payloads_.sessionJsonDict(), ZULinitYN_);
}

void Tracker::wrapAndSend(const Payload& session, bool initialized) {
  payloads_.setEntireJson(initialized ? session : nullptr);
  if (initialized) {
    upload(session);
  } else if (!toldEarlyEvent_.exchange(true)) {
    log_.info("The start-up has not completed: this event is not sent, nor is any until it has.", ZUL_HERE);
  }
}

void Tracker::sendToServerWithPageYN(bool) {
  upload(payloads_.entireJson());
}

void Tracker::exceptionSendToServer() {
  payloads_.setEntireJson(nullptr);
  sendToServerWithPageYN(false);
}

void Tracker::upload(const Payload& entireJson) {
  std::vector<Payload> payloads;
  if (earlyEvents_.exceptionDataSend()) {
    const auto session = payloads_.sessionJsonDict();
    for (auto& text : earlyEvents_.inSession(session ? *session : "{}")) {
      payloads.push_back(std::make_shared<const std::string>(std::move(text)));
    }
  } else {
    payloads.push_back(payloads_.inEnvelope(entireJson));
  }
  uploads_.send(std::move(payloads));
}

}  // namespace zul
