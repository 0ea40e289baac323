#include "CampaignLink.h"

#include <map>
#include <stdexcept>

#include "Json.h"
#include "ZULUtil.h"

namespace zul {

namespace {

constexpr double kSecondsOfDay = 86400;
constexpr std::string_view kEmbedded = "_iosDl";

using Query = std::map<std::string, std::string>;

std::optional<std::string> textOf(const Query& query, const std::string& key) {
  const auto found = query.find(key);
  return found == query.end() ? std::nullopt : std::optional(found->second);
}

std::optional<std::int64_t> integerOf(const Query& query, const std::string& key) {
  const auto text = textOf(query, key);
  return text ? std::optional(integerValue(*text)) : std::nullopt;
}

}  // namespace

CampaignQuery campaignQuery(std::string_view text) {
  const auto query = ZULUtil::parseUrlString(text);
  CampaignQuery values;
  values.qzs = textOf(query, "_qzs");
  values.qzm = textOf(query, "_qzm");
  values.qzc = textOf(query, "_qzc");
  values.qzw = textOf(query, "_qzw");
  values.qzaffid = textOf(query, "_qzaffid");
  values.qzbffid = textOf(query, "_qzbffid");
  values.wgcmpid = textOf(query, "_wgcmpid");
  values.qzp = integerOf(query, "_qzp");
  values.qzckp = integerOf(query, "_qzckp");
  values.qzclkTime = integerOf(query, "_qzclkTime").value_or(0);
  return values;
}

Claim CampaignQuery::claim(std::string_view text) const {
  return {.its = qzs,
          .itm = qzm,
          .itc = qzc,
          .itw = qzw,
          .itaffid = qzaffid,
          .itbffid = qzbffid,
          .installReferrer = std::string(text),
          .itp = qzckp.value_or(0),
          .itclkTime = qzclkTime};
}

Claim CampaignLink::claim(std::string_view link) const {
  auto claim = CampaignQuery::claim(link);
  claim.itclkTime = clickTime;
  return claim;
}

// The words alone are looked for, wherever they stand: the collector hears of links that have them in other words, too.
std::optional<CampaignLink> parseCampaignLink(std::string_view link, double now) {
  if (link.find("qzs") == link.npos || link.find("qzc") == link.npos) return std::nullopt;
  CampaignLink values{campaignQuery(link)};
  values.clickTime = values.qzclkTime != 0 ? values.qzclkTime : json::truncate(now);
  values.period = values.qzp ? static_cast<double>(*values.qzp) * kSecondsOfDay : kSecondsOfDay;
  values.counts = now < static_cast<double>(values.clickTime) + values.period * 1000;
  return values;
}

// The contract: the window is in seconds, and is added to a click in milliseconds as it stands. So a referrer counts
// for about a thousandth of the time that it names, and one without a click never does.
bool referrerCounts(const CampaignQuery& query, double now) {
  const double window = query.qzckp ? static_cast<double>(*query.qzckp) * 60 : kSecondsOfDay;
  return now < static_cast<double>(query.qzclkTime) + window;
}

// The contract: it is taken when source or campaign is there and empty, and not when both say something.
bool takesReferrer(const CampaignQuery& query) {
  return query.qzs && query.qzc && (query.qzs->empty() || query.qzc->empty());
}

std::optional<std::string> embeddedDeepLink(std::string_view link) {
  if (link.find(kEmbedded) == link.npos) return std::nullopt;
  const auto marker = std::string(kEmbedded) + "=";
  const auto begin = link.find(marker);
  if (begin == link.npos) throw std::out_of_range("there is no \"=\" behind \"_iosDl\"");
  return std::string(link.substr(begin + marker.size()));
}

}  // namespace zul
