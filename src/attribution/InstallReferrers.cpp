#include "InstallReferrers.h"

#include <utility>

#include "CampaignLink.h"
#include "FacebookData.h"
#include "Keys.h"
#include "LinkLength.h"
#include "LocalDB.h"

namespace zul {

using namespace keys;

namespace {

constexpr std::size_t kMaxUrl = 16 * kMaxLink;  // of an advertisement, with several links encoded in it

}  // namespace

Claims InstallReferrers::claims() const {
  const MutexLock lock(mutex_);
  return claims_;
}

void InstallReferrers::setFp(Claim claim) {
  const MutexLock lock(mutex_);
  std::swap(claims_.fp, claim);
}

void InstallReferrers::setIr(Claim claim) {
  const MutexLock lock(mutex_);
  std::swap(claims_.ir, claim);
}

void InstallReferrers::parseReferrer(const Text& referrer, double now) {
  if (isTooLong(referrer, log_, ZUL_HERE)) return;
  log_.debug("DEBUG_ZUL_FACEBOOK_REFERRER: " + referrer.value_or("(null)"), ZUL_HERE);
  const auto text = referrer.value_or("");
  const auto query = campaignQuery(text);
  if (referrerCounts(query, now)) setIr(query.claim(text));
  // Of the referrer before, when this one does not count.
  const auto clickTime = claims().ir.itclkTime;
  db_.update(attributedtime::kDocument,
             [&](MutableDocument& document) { document.setInteger(clickTime, attributedtime::kResponseTime); });
}

void InstallReferrers::parseReferrer2(const Text& referrer) {
  if (!referrer || isTooLong(referrer, log_, ZUL_HERE)) return;
  const auto query = campaignQuery(*referrer);
  if (takesReferrer(query)) setIr(query.claim(*referrer));
}

void InstallReferrers::setFacebookreferrerData(const Text& url, double now) {
  if (!url || isTooLong(url, log_, ZUL_HERE, kMaxUrl)) return;
  const auto tell = [this](const std::string& problem) { log_.error("Facebook referrer: " + problem, ZUL_HERE); };
  for (const auto& referrer : facebookReferrers(*url, now, tell)) parseReferrer(referrer, now);
}

void InstallReferrers::checkInstallReferrerOrder() {
  const auto claims = this->claims();
  log_.debug("DEBUG_ZULSESSION_irItclkTime in checkInstallReferrerOrder: " + std::to_string(claims.ir.itclkTime),
             ZUL_HERE);
  log_.debug("DEBUG_ZULSESSION_fpItclkTime in checkInstallReferrerOrder: " + std::to_string(claims.fp.itclkTime),
             ZUL_HERE);
  const auto* const winner = claims.winner();
  if (!winner) return;
  db_.update(installreferrer::kDocument, [winner](MutableDocument& document) {
    document.setString(winner->its, installreferrer::kIts);
    document.setString(winner->itm, installreferrer::kItm);
    document.setString(winner->itc, installreferrer::kItc);
    document.setString(winner->itw, installreferrer::kItw);
    document.setInteger(winner->itp, installreferrer::kItp);
    document.setString(winner->itaffid, installreferrer::kItaffid);
    document.setString(winner->itbffid, installreferrer::kItbffid);
    document.setInteger(winner->itclkTime, installreferrer::kItclkTime);
    document.setString(winner->installReferrer, installreferrer::kInstallReferrer);
    document.setString("Y", installreferrer::kIsIrUpdate);
  });
}

}  // namespace zul
