#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "Claim.h"
#include "IntegerValue.h"

/// What campaign links and install referrers say. Everything here is a pure function of a text and a moment, linear in
/// the text, and takes any bytes.
namespace zul {

/// Longer texts are no links or referrers: they would be stored, and travel with every payload.
constexpr std::size_t kMaxLink = 64 * 1024;

/// The values of a link's query; none or 0 where it lacks the key.
struct CampaignQuery {
  using Text = std::optional<std::string>;

  Text qzs, qzm, qzc, qzw;          ///< source, medium, campaign, keyword
  Text qzaffid, qzbffid;            ///< affiliate and sub-affiliate
  Text wgcmpid;                     ///< id of the latest campaign
  std::optional<std::int64_t> qzp;  ///< days that a deep link counts
  std::optional<std::int64_t> qzckp;
  std::int64_t qzclkTime = 0;  ///< ms since 1970

  /// The claim that `text`, whose query this is, makes as an install referrer.
  Claim claim(std::string_view text) const;
};
CampaignQuery campaignQuery(std::string_view text);

/// A link that was opened.
struct CampaignLink : CampaignQuery {
  std::int64_t clickTime = 0;  ///< ms since 1970; the moment of the opening where the link has none
  double period = 0;           ///< seconds from the click that the link counts
  bool counts = false;         ///< whether these are not over

  /// Whether the collector has to be asked what the link leaves out.
  bool isIncomplete() const { return !qzs || !qzc; }
  /// The claim that `link`, which is this, makes on a first run.
  Claim claim(std::string_view link) const;
};
/// `now` in ms since 1970. None when the text does not mention a campaign.
std::optional<CampaignLink> parseCampaignLink(std::string_view link, double now);

/// Whether an install referrer with this query counts at `now`, in ms since 1970.
bool referrerCounts(const CampaignQuery& query, double now);
/// Whether a referrer that the host hands over is taken.
bool takesReferrer(const CampaignQuery& query);

/// The application's own link within an attribution link: all that follows "_iosDl=", as it stands; none where the
/// link does not mention "_iosDl". Throws std::out_of_range where it does and has no "=" behind it.
std::optional<std::string> embeddedDeepLink(std::string_view link);

}  // namespace zul
