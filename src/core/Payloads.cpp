#include "Payloads.h"

#include <utility>

#include "Json.h"
#include "SessionPayload.h"
#include "SessionRecord.h"
#include "zul/CustomWKWebViewConfiguration.h"

namespace zul {

Payloads::Payloads(SessionRecord& record, const CustomWKWebViewConfiguration& webView, Log log)
    : record_(record), webView_(webView), log_(std::move(log)) {}

// Made anew only where something has changed: of a burst of events one pays for it.
Payloads::Payload Payloads::sessionText() {
  const auto record = record_.sharedInstance();
  const auto userAgent = webView_.clientUserAgent();
  PayloadExtras extras;
  {
    const MutexLock lock(mutex_);
    extras_.clientUserAgent = userAgent;
    if (record == madeOf_ && extras_ == madeWith_) return made_;
    extras = extras_;
  }
  const auto text = std::make_shared<const std::string>(sessionPayload(*record, extras));
  const MutexLock lock(mutex_);
  madeOf_ = record;
  madeWith_ = std::move(extras);
  made_ = text;
  return text;
}

Payloads::Payload Payloads::createSessionJson() {
  const auto session = sessionText();
  if (*session != "{}" && log_.wants(LogLevel::debug)) {
    log_.debug("================self.sessionJsonDict=================== :" + *session, ZUL_HERE);
  }
  const MutexLock lock(mutex_);
  sessionJsonDict_ = session;
  return session;
}

Payloads::Payload Payloads::createPageJson(const Pairs& pairs) {
  auto session = createSessionJson();
  if (log_.wants(LogLevel::debug)) {
    log_.debug("self.tempPairingData :" + (pairs ? json::text(*pairs) : "(null)"), ZUL_HERE);
  }
  if (!pairs || pairs->empty()) return session;
  auto object = json::parseObject(*session, json::kMaxPayloadDepth).value_or(boost::json::object());
  for (const auto& pair : *pairs) object[pair.key()] = pair.value();
  const auto paired = std::make_shared<const std::string>(json::text(object));
  const MutexLock lock(mutex_);
  sessionJsonDict_ = paired;
  return paired;
}

Payloads::Payload Payloads::inEnvelope(const Payload& session) {
  if (!session) return std::make_shared<const std::string>("{}");
  {
    const MutexLock lock(mutex_);
    if (session == enveloped_) return envelope_;
  }
  const auto envelope = std::make_shared<const std::string>("{\"SESSION\":" + *session + "}");
  const MutexLock lock(mutex_);
  enveloped_ = session;
  envelope_ = envelope;
  return envelope;
}

Payloads::Payload Payloads::sessionJsonDict() const {
  const MutexLock lock(mutex_);
  return sessionJsonDict_;
}

Payloads::Payload Payloads::entireJson() const {
  const MutexLock lock(mutex_);
  return entireJson_;
}

void Payloads::setEntireJson(Payload payload) {
  const MutexLock lock(mutex_);
  entireJson_.swap(payload);
}

void Payloads::setSearchAdsInfo(SearchAdsInfo info) {
  const MutexLock lock(mutex_);
  extras_.sarInfo.swap(info.sarInfo);
  extras_.AAATk.swap(info.AAATk);
  extras_.AAATktime = info.AAATktime;
}

Payloads::Pairs Payloads::tempPairingData() const {
  const MutexLock lock(mutex_);
  return tempPairingData_;
}

void Payloads::setTempPairingData(const std::optional<Dictionary>& pairs) {
  auto members = pairs ? std::optional(DictionaryAccess::object(*pairs)) : std::nullopt;
  const MutexLock lock(mutex_);
  tempPairingData_.swap(members);
}

}  // namespace zul
