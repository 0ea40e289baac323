// Where the install and the opening came from: what the host and the launch tell, and what the collector is asked.

#include "AttributionResult.h"
#include "CampaignLink.h"
#include "LinkLength.h"
#include "SessionRecord.h"
#include "Tracker.h"
#include "ZULUtil.h"
#include "zul/CustomWKWebViewConfiguration.h"

namespace zul {

void Tracker::parseDeepLink(const Text& link) {
  whenReadable([this, link, now = services_.util.currentTimeSecMulti1000()] {
    const auto campaign = deepLinks_.parseDeepLink(link, now);
    if (!campaign) return;
    const bool first = firstExcute_;
    if (first) {
      referrers_.setFp(campaign->claim(*link));
      log_.debug("DEBUG_ZULSESSION_self.fpIts in parseDeeplink: " + campaign->qzs.value_or("(null)"), ZUL_HERE);
    }
    if (campaign->isIncomplete()) fingerprint_.completeLink(first);
    if (!first) sendTransaction();
  });
}

void Tracker::parseReferrer(const Text& referrer) {
  const double now = services_.util.currentTimeSecMulti1000();
  whenReadable([this, referrer, now] { referrers_.parseReferrer(referrer, now); });
}

void Tracker::parseReferrer2(const Text& referrer) {
  referrers_.parseReferrer2(referrer);
}

void Tracker::setFacebookreferrerData(const Text& url) {
  const double now = services_.util.currentTimeSecMulti1000();
  whenReadable([this, url, now] { referrers_.setFacebookreferrerData(url, now); });
}

std::string Tracker::parseAttributionLinkToGetDeeplinkUrl(const Text& link) {
  std::string embedded;
  log_.guard(
      [&] {
        const auto found = embeddedDeepLink(link.value_or(""));
        if (!found) return;
        embedded = *found;
        log_.debug("iosDl in parseAttributionLinkToGetDeeplinkUrl : " + embedded, ZUL_HERE);
      },
      ZUL_HERE);
  return embedded;
}

void Tracker::recordDeepLink(const Text& link) {
  if (isTooLong(link, log_, ZUL_HERE)) return;
  const auto query = campaignQuery(link.value_or(""));
  editRecord([link, query](SessionJson& record) {
    record.qzs = query.qzs;
    record.qzm = query.qzm;
    record.qzc = query.qzc;
    record.qzw = query.qzw;
    record.qzp = query.qzp.value_or(0);
    record.qzaffid = query.qzaffid;
    record.qzbffid = query.qzbffid;
    record.qzclkTime = query.qzclkTime;
    record.qzref = link;
  });
}

void Tracker::recordReferrer(const Text& referrer) {
  if (isTooLong(referrer, log_, ZUL_HERE)) return;
  const auto claim = campaignQuery(referrer.value_or("")).claim(referrer.value_or(""));
  editRecord([referrer, claim](SessionJson& record) {
    record.its = claim.its;
    record.itm = claim.itm;
    record.itc = claim.itc;
    record.itw = claim.itw;
    record.itp = claim.itp;
    record.itaffid = claim.itaffid;
    record.itbffid = claim.itbffid;
    record.itclkTime = claim.itclkTime;
    record.installReferrer = referrer;
  });
}

// ---- fingerprints

void Tracker::requestFingerPrintByDeeplink(bool deepLink) {
  requestFingerPrintByDeeplinkInWeb(deepLink, serviceNumber_);
}

void Tracker::requestFingerPrintByDeeplinkInWeb(bool deepLink, std::int64_t qzno) {
  fingerprint_.requestInWeb(qzno, {firstExcute_, deepLink});
}

void Tracker::requestFingerPrintByDeeplink(bool deepLink, std::int64_t qzno) {
  fingerprint_.request(qzno, {firstExcute_, deepLink});
}

// An error log needs the record, and making that may wait for the app store, which the main queue must not.
Fingerprint::Owner Tracker::fingerprintOwner() {
  return {.serviceNumber = serviceNumber_,
          .webViewConfiguration = services_.webView.getConfiguration(),
          .reportError =
              [this](const std::string& text, std::function<void(bool)> completion) {
                services_.tasks.async(
                    Tasks::Queue::global,
                    [this, text, completion = std::move(completion)]() mutable {
                      errors_.send(text, std::move(completion));
                    },
                    ZUL_HERE);
              },
          .tell =
              [this](const std::string& problem) {
                if (!services_.stopping) log_.error(problem, ZUL_HERE);
              }};
}

// ---- the result

Dictionary Tracker::getAttributedInfo() {
  return services_.attribution.getAttributedInfo();
}

void Tracker::updatePostbackConversionValue(const Object& answer) {
  skan_.updatePostbackConversionValue(answer, sessionController_);
}

void Tracker::saveAttributedInfo(const Object& answer) {
  services_.attribution.saveAttributedInfo(answer);
}

void Tracker::selfValidation(const std::string& payloads) {
  services_.attribution.selfValidation(payloads);
}

}  // namespace zul
