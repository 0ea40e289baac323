#pragma once

#include <boost/json/array.hpp>

#include "Log.h"

namespace zul {

class LocalDB;
class SessionRecord;
class ZULUtil;

/// The in-app messages that the host received, and the one that was clicked last: the document "inappMessageData" and
/// what the record shows of it. Who tells of a click calls SessionController's `updateInamId` and its like.
///
/// Any thread may call it. What is told before the stored state can be read is kept until then.
class InAppMessages {
 public:
  InAppMessages(LocalDB& db, SessionRecord& record, const ZULUtil& util, Log log)
      : db_(db), record_(record), util_(util), log_(std::move(log)) {}

  /// Stores the messages that the host has received and shown, in the place of those it told before. A message is an
  /// object: "mk" (text, its key), "viewTime" (ms since 1970, when it was shown), "dateType" ("D", "W" or "M": days,
  /// weeks, 30 days), "frequencyLimitDay" (integer, how many of them it is not to be shown again), "end" (ms since
  /// 1970, the end of its campaign).
  void setReceivedInAppMessageList(const boost::json::array& messages);
  /// The stored messages.
  boost::json::array receivedInAppMessageList() const;

  /// Drops the messages whose frequency window or campaign is over, with all that have the same key, and stores the
  /// keys of the others as "alreadySeenCampaignId", joined with "|". Then `checkToResetInAppMessage`. Does nothing
  /// where no in-app message was ever told of.
  void checkInAppMessageValidation();
  /// Clears the clicked message when its time is over. Where that was never stored it is not.
  void checkToResetInAppMessage();
  /// Clears the clicked message.
  void resetInAppMessage();

 private:
  LocalDB& db_;
  SessionRecord& record_;
  const ZULUtil& util_;
  Log log_;
};

}  // namespace zul
