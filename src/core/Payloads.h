#pragma once

#include <boost/json/object.hpp>
#include <memory>
#include <optional>
#include <string>

#include "Fields.h"
#include "Log.h"
#include "Mutex.h"
#include "SearchAds.h"
#include "zul/Dictionary.h"

namespace zul {

class CustomWKWebViewConfiguration;
class SessionRecord;
struct SessionJson;

/// Owns the payloads that are being prepared: builds them from the record and keeps the latest ones.
///
/// Any thread may call it. Values are replaced whole, so that a reader keeps what it took; the lock covers the
/// exchange.
class Payloads {
 public:
  /// The text of a session payload.
  using Payload = std::shared_ptr<const std::string>;
  using Pairs = std::optional<boost::json::object>;

  Payloads(SessionRecord& record, const CustomWKWebViewConfiguration& webView, Log log);

  /// Builds the session payload from the current record.
  Payload createSessionJson();
  /// The same with `pairs` in it.
  Payload createPageJson(const Pairs& pairs);

  /// {"SESSION": session}, as it is sent; {} for null.
  Payload inEnvelope(const Payload& session);

  /// The session payload that was built last; null before the first.
  Payload sessionJsonDict() const;
  /// The payload that is to be sent next, in its envelope {"SESSION": payload}; null stands for an empty dictionary.
  Payload entireJson() const;
  void setEntireJson(Payload payload);

  /// Payloads carry it from now on.
  void setSearchAdsInfo(SearchAdsInfo info);

  /// Key/value pairs that page payloads carry.
  Pairs tempPairingData() const;
  void setTempPairingData(const std::optional<Dictionary>& pairs);

 private:
  Payload sessionText();

  SessionRecord& record_;
  const CustomWKWebViewConfiguration& webView_;
  const Log log_;

  mutable Mutex mutex_;
  // The session payload of a record, as long as that is the current one.
  std::shared_ptr<const SessionJson> madeOf_ ZUL_GUARDED_BY(mutex_);
  PayloadExtras madeWith_ ZUL_GUARDED_BY(mutex_);
  Payload made_ ZUL_GUARDED_BY(mutex_);
  Payload enveloped_ ZUL_GUARDED_BY(mutex_);
  Payload envelope_ ZUL_GUARDED_BY(mutex_);

  Payload sessionJsonDict_ ZUL_GUARDED_BY(mutex_);
  Payload entireJson_ ZUL_GUARDED_BY(mutex_);
  Pairs tempPairingData_ ZUL_GUARDED_BY(mutex_) = boost::json::object();
  PayloadExtras extras_ ZUL_GUARDED_BY(mutex_);
};

}  // namespace zul
