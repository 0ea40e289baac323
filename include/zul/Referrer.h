#pragma once

#include <optional>
#include <string>

#include "zul/Export.h"

namespace zul {

/// What the host knows of where an install or an opening came from: it fills this and hands it to
/// ZULSession::setInstallReferrer, which reads `referrer`.
struct ZUL_EXPORT Referrer {
  using Text = std::optional<std::string>;

  Text deepLink;
  Text referrer;
  Text pushId;

  /// Puts what the query of a campaign link says straight into the session record, as the campaign of this opening. No
  /// check is made, whether of the campaign or of its time, and nothing is stored: the next session's record is made
  /// without it. ZULSession::setDeepLink is what a host wants.
  void parseDeepLink(const Text& link) noexcept;
  /// The same for an install referrer, as where the install came from.
  void parseReferrer(const Text& text) noexcept;
};

}  // namespace zul
