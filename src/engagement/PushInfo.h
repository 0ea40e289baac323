#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "Log.h"

namespace zul {

class LocalDB;
class SessionRecord;
class ZULUtil;

/// The device's push token, and the push that the user opened last: the document "Notification" and what the record
/// shows of it.
///
/// Any thread may call it. What is told before the stored state can be read is kept until then.
class PushInfo {
 public:
  PushInfo(LocalDB& db, SessionRecord& record, const ZULUtil& util, Log log)
      : db_(db), record_(record), util_(util), log_(std::move(log)) {}

  /// Stores the token unless it is the stored one, and marks it in the record as new. None is "".
  void saveDeviceToken(const std::optional<std::string>& token);

  // The push that was opened.
  void setPushId(const std::string& id);
  /// For the current record alone: the title is not stored, and a new session is without it.
  void setPushTitle(const std::string& title);
  void setPushClickTime(std::int64_t milliseconds);  ///< since 1970
  void setPushPeriod(std::int64_t days);
  /// When it stops to count, in milliseconds since 1970. The record shows it until it is made anew: then it reads a key
  /// of another spelling, which is never written.
  void setPushExpiredTime(std::int64_t milliseconds);

  /// Clears the stored push when its time is over. Where that was never stored it is not.
  void checkToResetPushInfo();
  /// Clears the stored push. The record keeps showing it until it is made anew.
  void resetPushInfo();

 private:
  LocalDB& db_;
  SessionRecord& record_;
  const ZULUtil& util_;
  Log log_;
};

}  // namespace zul
