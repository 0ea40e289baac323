#pragma once

#include "zul/InternalCampaign.h"

namespace zul {

class LocalDB;
class SessionRecord;
class ZULUtil;

/// The campaigns that the application runs itself, in ten slots: the document "InternalCampaign" and what the record
/// shows of it. A slot is empty, or has a code, the moment at which it was set, and a period in days.
///
/// Any thread may call it. What is told before the stored state can be read is kept until then.
class InternalCampaigns {
 public:
  InternalCampaigns(LocalDB& db, SessionRecord& record, const ZULUtil& util) : db_(db), record_(record), util_(util) {}

  /// Sets the slots that have a code, as of now, in the record and in the store; the others stay as they are.
  void setInternalCampaign(const InternalCampaign& campaign);
  /// Clears the stored slots whose period is over. The record keeps showing them until it is made anew.
  void checkToResetInternalCampaign();
  /// Clears the stored slot of that number, 1 to 10. No other number has one.
  void resetInternalCampaign(int slot);

 private:
  LocalDB& db_;
  SessionRecord& record_;
  const ZULUtil& util_;
};

}  // namespace zul
