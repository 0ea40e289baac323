#include "DeepLinks.h"

#include "Json.h"
#include "Keys.h"
#include "LinkLength.h"
#include "LocalDB.h"
#include "SessionRecord.h"
#include "ZULUtil.h"

namespace zul {

using namespace keys;

namespace {

constexpr std::string_view kYes = "Y";
constexpr double kSecondsOfDay = 86400;

}  // namespace

std::optional<CampaignLink> DeepLinks::parseDeepLink(const std::optional<std::string>& given, double now) {
  if (given.value_or("").empty()) {
    log_.debug("DEBUG_ZUL_parseDeepLink is Empty ( or nil ) ", ZUL_HERE);
    return std::nullopt;
  }
  if (isTooLong(given, log_, ZUL_HERE)) return std::nullopt;
  const auto& link = *given;
  log_.debug("DEBUG_ZUL_openDl " + link, ZUL_HERE);
  record_.editExisting([&](SessionJson& record) { record.openDl = link; });

  const auto campaign = parseCampaignLink(link, now);
  if (!campaign) {
    log_.debug("DEBUG_ZUL_deeplink is not contains qzs , qzc parameter. ", ZUL_HERE);
    return std::nullopt;
  }
  if (campaign->wgcmpid) {
    record_.editExisting([&](SessionJson& record) { record.latestGcmpid = campaign->wgcmpid; });
  }
  log_.debug(std::string("DEBUG_ZUL_deeplink is qzclkTime + (tmpQZP * 1000) > [ZULUtil currentTimeSecMulti1000]) ( ") +
                 (campaign->counts ? "true ) " : "false ) "),
             ZUL_HERE);
  if (!campaign->counts) return std::nullopt;
  save(link, *campaign, now);
  return campaign;
}

void DeepLinks::save(const std::string& link, const CampaignLink& campaign, double now) {
  const double expiry = now / 1000 + campaign.period;
  const auto itp = campaign.qzckp.value_or(0);
  db_.transaction([&] {
    db_.update(deeplink::kDocument, [&](MutableDocument& document) {
      document.setString(link, deeplink::kOpenDl);
      if (campaign.wgcmpid) document.setString(campaign.wgcmpid, deeplink::kLatestGcmpid);
      document.setString(campaign.qzs, deeplink::kQzs);
      document.setString(campaign.qzm, deeplink::kQzm);
      document.setString(campaign.qzc, deeplink::kQzc);
      document.setString(campaign.qzw, deeplink::kQzw);
      document.setInteger(campaign.qzp.value_or(0), deeplink::kQzp);
      document.setInteger(itp, deeplink::kItp);
      document.setString(campaign.qzaffid, deeplink::kQzaffid);
      document.setString(campaign.qzbffid, deeplink::kQzbffid);
      document.setInteger(campaign.clickTime, deeplink::kQzclkTime);
      document.setString(link, deeplink::kQzref);
      document.setString(std::string(kYes), deeplink::kIsDrUpdate);
      document.setDouble(expiry, deeplink::kDRExpireTime);
    });
    record_.showDocument(deeplink::kDocument);
    // Its own "itp" stays until the record is made anew, from the install referrer's.
    db_.afterCommit([this, itp] { record_.editExisting([itp](SessionJson& record) { record.itp = itp; }); });
  });
}

void DeepLinks::saveDeepLinkWithFingerPrint(const boost::json::object& answer) {
  const auto days = json::integer(answer, "qzp");
  const double expiry = util_.currentTimeSec() + static_cast<double>(days) * kSecondsOfDay;
  db_.update(deeplink::kDocument, [&](MutableDocument& document) {
    for (const auto key : {deeplink::kQzs, deeplink::kQzm, deeplink::kQzc, deeplink::kQzw, deeplink::kQzaffid,
                           deeplink::kQzbffid, deeplink::kQzref}) {
      document.setString(json::string(answer, key), key);
    }
    document.setInteger(days, deeplink::kQzp);
    document.setInteger(json::integer(answer, deeplink::kQzclkTime), deeplink::kQzclkTime);
    document.setString(std::string(kYes), deeplink::kIsDrUpdate);
    document.setDouble(expiry, deeplink::kDRExpireTime);
  });
}

void DeepLinks::savePeriod(const boost::json::object& answer) {
  db_.update(deeplink::kDocument, [&](MutableDocument& document) {
    if (!document.numberForKey(deeplink::kQzp)) {
      document.setInteger(json::integer(answer, deeplink::kQzp), deeplink::kQzp);
    }
  });
}

void DeepLinks::checkToResetDRInfo() {
  const auto expiry = db_.documentWithID(deeplink::kDocument).numberForKey(deeplink::kDRExpireTime);
  if (expiry && util_.currentTimeSec() > *expiry) resetDRInfo();
}

// The numbers, too, become empty texts: the collector knows a link that is over by that, and without a number there is
// no expiry any more. "openDl", "isDrUpdate" and "itp" stay.
void DeepLinks::resetDRInfo() {
  db_.update(deeplink::kDocument, [](MutableDocument& document) {
    for (const auto key : {deeplink::kQzs, deeplink::kQzm, deeplink::kQzc, deeplink::kQzw, deeplink::kQzp,
                           deeplink::kQzaffid, deeplink::kQzbffid, deeplink::kQzclkTime, deeplink::kQzref,
                           deeplink::kDRExpireTime, deeplink::kLatestGcmpid}) {
      document.setString("", key);
    }
  });
}

}  // namespace zul
