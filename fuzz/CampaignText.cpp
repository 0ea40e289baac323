// Links, referrers and the URLs of advertisements, at a moment that their first bytes say.

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <string>
#include <string_view>

#include "CampaignLink.h"
#include "FacebookData.h"
#include "Utf8.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace zul;
  double now = 0;
  if (size < sizeof now) return 0;
  std::memcpy(&now, data, sizeof now);
  const std::string_view text(reinterpret_cast<const char*>(data) + sizeof now, size - sizeof now);

  const auto link = parseCampaignLink(text, now);
  if (link && link->qzs && !isUtf8(*link->qzs)) std::abort();
  if (link && std::isnan(link->period)) std::abort();
  const auto query = campaignQuery(text);
  static_cast<void>(referrerCounts(query, now));
  static_cast<void>(takesReferrer(query));
  if (query.claim(text).installReferrer->size() != text.size()) std::abort();
  try {
    if (const auto embedded = embeddedDeepLink(text); embedded && embedded->size() >= text.size()) std::abort();
  } catch (const std::out_of_range&) {  // no "=" behind the marker
  }
  std::size_t length = 0;
  for (const auto& referrer : facebookReferrers(text, now, [](const std::string&) {})) length += referrer.size();
  if (length > 100 * (size + 1) * (size + 1)) std::abort();
  return 0;
}
