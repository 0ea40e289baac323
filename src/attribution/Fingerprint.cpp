#include "Fingerprint.h"

#include <boost/json/object.hpp>
#include <exception>
#include <utility>

#include "DeepLinks.h"
#include "Identifiers.h"
#include "InstallReferrers.h"
#include "Json.h"
#include "Keys.h"
#include "LocalDB.h"
#include "SessionRecord.h"
#include "ZULUtil.h"
#include "zul/Deployment.h"

namespace zul {

using namespace keys;

namespace {

constexpr double kMillisecondsOfMinute = 60000;
constexpr const char* kFailed = "FingerPrint Request fail";
constexpr const char* kFailedForLink = "first FingerPrint Request fail";

}  // namespace

// The advertising identifier takes consent. "clickTime" is the text that is stored for the click's time: there it is a
// number, and so the collector knows a first run by the key's absence.
FingerprintQuery Fingerprint::query(std::int64_t qzno, bool firstExcute) {
  const bool authorized = Environment::storedStatus(services_.db) == Environment::kAuthorized;
  return {.qzno = qzno,
          .advtId = authorized ? services_.identifiers.getIdfa() : Text(""),
          .vendorId = services_.identifiers.getVendorId(),
          .firstExcute = firstExcute,
          .clickTime = services_.db.documentWithID(deeplink::kDocument).stringForKey(deeplink::kQzclkTime)};
}

// ---- in the hidden web view

// Computing the header takes long the first time, which neither the host's thread nor the main queue is to wait for.
void Fingerprint::requestInWeb(std::int64_t qzno, Moment moment) {
  if (services_.deployment.trackingHost.empty()) return;
  services_.tasks.async(
      Tasks::Queue::global,
      [this, qzno, moment] {
        auto request =
            services_.network.webFingerPrintRequest(query(qzno, moment.firstExcute), services_.deployment.trackingHost);
        services_.tasks.async(
            Tasks::Queue::main,
            [this, moment, request = std::move(request)]() mutable { load(std::move(request), moment); }, ZUL_HERE);
      },
      ZUL_HERE);
}

void Fingerprint::load(platform::HttpRequest request, Moment moment) {
  auto* const webView = hiddenWebView();
  if (!webView) return;
  webView->setNavigationDelegate(
      {.didFinishNavigation = [this, moment] { services_.log.guard([&] { pageFinished(moment); }, ZUL_HERE); },
       .didFail =
           [this, url = request.url](const std::string& problem) {
             services_.log.guard([&] { owner_.tell("The fingerprint page at " + url + ": " + problem); }, ZUL_HERE);
           }});
  webView->load(std::move(request));
}

platform::WebView* Fingerprint::hiddenWebView() {
  if (wkWebView_) return wkWebView_.get();
  std::string problem = "there are none here";
  try {
    wkWebView_ = services_.webViews->hiddenWebView(owner_.webViewConfiguration);
  } catch (const std::exception& e) {
    problem = e.what();
  }
  if (!wkWebView_ && !toldNoWebView_.exchange(true)) {
    services_.log.error("No fingerprint is asked for, for want of a web view: " + problem, ZUL_HERE);
  }
  return wkWebView_.get();
}

// Told once for each page that a redirection leads over, too: the last one finds the web view at rest.
void Fingerprint::pageFinished(Moment moment) {
  if (wkWebView_->isLoading()) return;
  wkWebView_->evaluateJavaScript("document.body.textContent",
                                 [this, moment](const Text& text, const std::string& problem) {
                                   services_.log.guard(
                                       [&] {
                                         services_.log.debug("responseStr : " + text.value_or(problem), ZUL_HERE);
                                         takeAnswer(text, moment);
                                       },
                                       ZUL_HERE);
                                 });
}

// ---- through the collector's client

void Fingerprint::request(std::int64_t qzno, Moment moment) {
  services_.tasks.async(
      Tasks::Queue::global,
      [this, qzno, moment] {
        services_.network.requestFingerPrintWithQzno(
            query(qzno, moment.firstExcute), services_.record.environment().sender(),
            [this, moment](bool success, const platform::HttpResponse& response) {
              takeAnswer(success ? response.body : std::nullopt, moment);
            });
      },
      ZUL_HERE);
}

void Fingerprint::completeLink(bool firstExcute) {
  services_.tasks.async(
      Tasks::Queue::global,
      [this, firstExcute] {
        services_.network.requestFingerPrintWithQzno(
            query(owner_.serviceNumber, firstExcute), services_.record.environment().sender(),
            [this](bool success, const platform::HttpResponse& response) {
              if (!success) {
                owner_.reportError(kFailedForLink, [this](bool told) {
                  if (told) services_.log.debug(std::string("DEBUG_ZUL_FB_MSG: ") + kFailedForLink, ZUL_HERE);
                });
                return;
              }
              const auto answer = NetworkManager::getResponseDictionary(response.body);
              services_.log.debug("DEBUG_ZUL_FB_response: " + (answer ? json::text(*answer) : "(null)"), ZUL_HERE);
              if (answer && !answer->empty()) services_.deepLinks.saveDeepLinkWithFingerPrint(*answer);
            });
      },
      ZUL_HERE);
}

// ---- the answer, whichever way it came

void Fingerprint::takeAnswer(const Text& text, Moment moment) {
  const auto answer = NetworkManager::getResponseDictionary(text);
  if (!answer) {
    requestDone_ = false;
    owner_.reportError(kFailed, [this](bool told) {
      if (told) services_.log.debug(std::string("DEBUG_ZUL_REQUEST_FINGERPRINT: ") + kFailed, ZUL_HERE);
    });
    return;
  }
  services_.log.debug("DEBUG_ZULSESSION_FP_RESPONSE[COLLECTOR->SDK]: " + json::text(*answer), ZUL_HERE);
  auto& db = services_.db;
  db.transaction([&] {
    if (!answer->empty() && moment.firstExcute && !moment.deepLink) {
      saveInstallReferrerWithFingerPrint(*answer);
    } else if (!answer->empty() && !moment.firstExcute) {
      const auto latest = db.documentWithID(attributedtime::kDocument).integerForKey(attributedtime::kResponseTime);
      if (json::integer(*answer, deeplink::kQzclkTime) > latest) {
        services_.deepLinks.saveDeepLinkWithFingerPrint(*answer);
      }
    }
    db.update(attributedtime::kDocument, [&](MutableDocument& document) {
      document.setInteger(json::integer(*answer, attributedtime::kResponseTime), attributedtime::kResponseTime);
    });
  });
  requestDone_ = true;
}

void Fingerprint::saveInstallReferrerWithFingerPrint(const boost::json::object& answer) {
  const Claim claim = {.its = json::string(answer, "qzs"),
                       .itm = json::string(answer, "qzm"),
                       .itc = json::string(answer, "qzc"),
                       .itw = json::string(answer, "qzw"),
                       .itaffid = json::string(answer, "qzaffid"),
                       .itbffid = json::string(answer, "qzbffid"),
                       .installReferrer = json::string(answer, "qzref"),
                       .itp = json::integer(answer, "itp"),
                       .itclkTime = json::integer(answer, "qzclkTime")};
  const double until = static_cast<double>(claim.itclkTime) + static_cast<double>(claim.itp) * kMillisecondsOfMinute;
  if (services_.util.currentTimeSecMulti1000() < until) {
    services_.referrers.setFp(claim);
    services_.db.afterCommit([this, its = claim.its] {
      services_.log.debug(
          "DEBUG_ZULSESSION_self.fpIts in saveInstallReferrerWithFingerPrint: " + its.value_or("(null)"), ZUL_HERE);
    });
  }
  services_.deepLinks.savePeriod(answer);
}

}  // namespace zul
