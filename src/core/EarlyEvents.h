#pragma once

#include <atomic>
#include <boost/json/object.hpp>
#include <string>
#include <vector>

#include "Mutex.h"

namespace zul {

class LocalDB;

/// The payloads that were recorded before the start-up completed ("DataBeforeInit"). Any thread may call it.
class EarlyEvents {
 public:
  explicit EarlyEvents(LocalDB& db) : db_(db) {}

  /// Takes over what is stored. False when there is none.
  bool load();

  /// From now on every send of this process carries these payloads instead of its own, and never stops to: that is
  /// what the collector has been told to expect. Whoever counts sees them once for each event, each time in the visit
  /// ("sid", "vtTz") of that event; where there are none, the events and visits of the rest of this process are
  /// missing.
  void setExceptionDataSend() { exceptionDataSend_ = true; }
  bool exceptionDataSend() const { return exceptionDataSend_; }

  /// The payloads' texts, each moved to the session of `session`, the text of a session payload.
  std::vector<std::string> inSession(const std::string& session) const;

 private:
  LocalDB& db_;
  std::atomic<bool> exceptionDataSend_{false};
  mutable Mutex mutex_;
  std::vector<boost::json::object> exceptionJsonList_ ZUL_GUARDED_BY(mutex_);
};

}  // namespace zul
