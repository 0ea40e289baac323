#pragma once

#include <boost/json/fwd.hpp>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "LocalDB.h"
#include "Log.h"

namespace zul {

class Dictionary;
class SessionRecord;
class ZULUtil;

/// Keeps the visit counters, the unique-user flags, the purchases and the other stored session state, each operation a
/// short write of one document and, where the current record shows the value, of the record.
///
/// Any thread may call it; within LocalDB::transaction the operations become one commit, and the record is
/// changed once that is done.
class SessionController {
 public:
  /// How long a session lasts after its last activity, in seconds.
  static constexpr double kSessionSeconds = 1800.0;

  SessionController(LocalDB& db, SessionRecord& record, const ZULUtil& util, Log log)
      : db_(db), record_(record), util_(util), log_(std::move(log)) {}

  // A new session, in the order in which it calls them.
  void resetSid();
  void resetVtTz();
  void updateIsVisitNew();
  /// Marks the visit "Y" as a day's first one, by a period that ends with the day of the visit before. So, save on the
  /// day of the install, a day's second visit is "Y" again, and the flag does not count the day's users: their distinct
  /// "uuid"s do.
  void updateIsDf();
  void updateIsWf();
  void updateIsMf();
  void updateIsWfUs();
  void updateUdVt();
  void updateLtvt();
  void updateLtVi();
  void updateLtRvnVt();  ///< a visit more before the next purchase
  void saveRecentSessionTimeSec();
  void saveSessionExpireTime();
  /// Counts the purchases of the user-criteria period from 0 when the last one lies that many days back, rounded to
  /// nearest. Nobody writes when that was ("lastPurchaseTimeSec"); where a store has it, it counts here and in
  /// `updateLtrvni`.
  void checkToResetUdRvnc();

  // A purchase (SessionControllerPurchases.cpp), for whoever tracks purchases to call, in one transaction. What is told
  // before the stored state can be read is kept until then. `updateFirstOrd` comes before
  // `updateLastOrderNoWithOrderNo`, since it looks whether an order was stored before.

  /// One purchase more in the user-criteria period, and in all.
  void updateUdRvnc();
  void updateLtRvnc();
  /// Stores the whole seconds from the begin of the visit to the purchase, whose time stamp `vtTz` is in ms since 1970.
  void updateCsRvnVsWithRevenueJsonVtTz(double vtTz);
  /// Adds the days since the last purchase; starts from 0 where that is not known.
  void updateLtrvni();
  /// Adds what was paid: of a product {"revenue": 12.9}, or {"amt": 12.9} where that has no such number, or of an array
  /// of products, each cut off to an integer. Texts of numbers count as numbers; anything else adds nothing. The sum
  /// stops at the end of the 64-bit range.
  void updateLtrvnWithRevenuJsonProducts(const boost::json::value& products);
  void updateLastOrderNoWithOrderNo(const std::string& orderNo);
  /// "Y" while no order is stored, else "N".
  void updateFirstOrd();
  void resetFirstOrd();
  void resetLtRvnVt();

  /// Copies the service settings into "AppInfo", where that exists, and has the record show what is there.
  void saveAppInfo(const Dictionary& settings);

  // One-shot markers, cleared once the collector has them.
  void resetAboutNewVisitInfo();
  void resetDrUpdate();
  void resetIrUpdate();
  void resetOpenDl();
  void resetAidChange();
  void resetSaveToken();
  void resetUptAfv();
  void resetPushTitle();

  void resetPageKey();
  void updatePiTraceWithPi(const std::string& pi);
  void updateSkAdadCurValue(std::int64_t value);
  void updateAlreadySeenMessageId(const std::string& id);
  void updateInamId(const std::string& id);
  void updateInamClkTime(std::int64_t milliseconds);
  void updateInamExpireTime(std::int64_t milliseconds);

  /// Looks at the device anew and puts what it shows into the record.
  void updateSesssionAboutEnvironment();

 private:
  void updateUnique(std::string_view flagKey, std::string_view expiryKey, std::string_view period);
  static void increment(MutableDocument& document, std::string_view key);
  template <auto member>
  void account(LocalDB::Edit edit);
  void announceCreation(std::string_view document, std::string_view line);

  LocalDB& db_;
  SessionRecord& record_;
  const ZULUtil& util_;
  Log log_;
};

}  // namespace zul
