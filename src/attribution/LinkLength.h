#pragma once

#include <optional>
#include <string>

#include "CampaignLink.h"
#include "Log.h"

namespace zul {

/// Whether a text is none of a link or a referrer by its length, which the log is told then. `where` is ZUL_HERE.
inline bool isTooLong(const std::optional<std::string>& text, const Log& log, const CallSite& where,
                      std::size_t limit = kMaxLink) {
  if (!text || text->size() <= limit) return false;
  log.error("A text of " + std::to_string(text->size()) + " bytes is neither link nor referrer: it is ignored.", where);
  return true;
}

}  // namespace zul
