#pragma once

#include <boost/json/object.hpp>
#include <optional>
#include <string>

#include "CampaignLink.h"
#include "Log.h"

namespace zul {

class LocalDB;
class SessionRecord;
class ZULUtil;

/// Keeps what the latest campaign link said ("DeeplinkReferrerInfo"), for as long as it counts. Any thread may call it.
class DeepLinks {
 public:
  DeepLinks(LocalDB& db, SessionRecord& record, const ZULUtil& util, Log log)
      : db_(db), record_(record), util_(util), log_(std::move(log)) {}

  /// Takes over a link that was opened: the record shows it, and the payloads carry it until it is over. None when it
  /// is no campaign link, or one that does not count any more; nothing is stored of such a link, and the record keeps
  /// only that it was opened.
  /// `now`: when it was opened, ms since 1970.
  std::optional<CampaignLink> parseDeepLink(const std::optional<std::string>& link, double now);

  /// Takes over what the collector recognised a later opening by. The record shows it from the next session on.
  void saveDeepLinkWithFingerPrint(const boost::json::object& answer);
  /// Stores an answer's period where no link has said one.
  void savePeriod(const boost::json::object& answer);

  /// Forgets the link once it is over.
  void checkToResetDRInfo();
  void resetDRInfo();

 private:
  void save(const std::string& link, const CampaignLink& campaign, double now);

  LocalDB& db_;
  SessionRecord& record_;
  const ZULUtil& util_;
  const Log log_;
};

}  // namespace zul
