#include "Tracker.h"

#include "AttributionResult.h"
#include "DeferredLinkManager.h"
#include "Identifiers.h"
#include "Json.h"
#include "Keys.h"
#include "LocalDB.h"
#include "SessionRecord.h"
#include "Settings.h"
#include "ZULUtil.h"
#include "zul/CustomWKWebViewConfiguration.h"
#include "zul/Platform.h"
#include "zul/platform/Bundle.h"

namespace zul {

using namespace keys;

namespace {

// What a payload tells of its session.
boost::json::object sessionOf(const std::string& payload) {
  const auto value = json::parse(payload, json::kMaxPayloadDepth);
  const auto* const object = value ? value->if_object() : nullptr;
  const auto* const session = object ? json::find(*object, "SESSION") : nullptr;
  return session && session->is_object() ? session->get_object() : boost::json::object();
}

// Whether two texts are the same on the wire, where bytes that are no UTF-8 are replaced.
bool same(const std::optional<std::string>& a, const std::optional<std::string>& b) {
  const auto onWire = [](const std::optional<std::string>& text) {
    std::string quoted;
    if (text) json::appendQuoted(quoted, *text);
    return quoted;
  };
  return onWire(a) == onWire(b);
}

// An id of digits is easily written as a number.
std::optional<std::string> textOrNumber(const Dictionary& dictionary, std::string_view key) {
  const auto number = dictionary.integer(key);
  return number != 0 ? std::to_string(number) : dictionary.string(key);
}

}  // namespace

Tracker::Tracker(TrackerServices services)
    : services_(std::move(services)),
      log_(services_.log),
      info_(services_.platform.bundle->infoDictionary()),
      zulAuthorizationKey_(info_.dictionary("zulAuthorizationKey")),
      facebookAppIdCheck_(textOrNumber(info_, "FacebookAppID")),
      useMode_(zulAuthorizationKey_.integer("useMode")),
      serviceNumber_(zulAuthorizationKey_.integer("serviceNumber")),
      sessionController_(services_.db, services_.record, services_.util, log_),
      member_(services_.db, services_.record),
      push_(services_.db, services_.record, services_.util, log_),
      campaigns_(services_.db, services_.record, services_.util),
      inAppMessages_(services_.db, services_.record, services_.util, log_),
      networkManager_(services_.platform.http, services_.tasks, services_.platform.deployment, log_,
                      zulAuthorizationKey_),
      errors_(services_.record, networkManager_, serviceNumber_),
      payloads_(services_.record, services_.webView, log_),
      earlyEvents_(services_.db),
      uploads_(services_.db, networkManager_, services_.tasks, log_, uploadOwner()),
      deepLinks_(services_.db, services_.record, services_.util, log_),
      referrers_(services_.db, log_),
      fingerprint_(
          {services_.tasks, services_.platform.webViews, services_.platform.deployment, services_.db,
           services_.identifiers, services_.record, services_.util, networkManager_, deepLinks_, referrers_, log_},
          fingerprintOwner()),
      searchAds_({services_.platform.adServices, services_.platform.device, services_.platform.http,
                  services_.platform.deployment, services_.util},
                 services_.tasks, log_, [this](SearchAdsInfo info) { payloads_.setSearchAdsInfo(std::move(info)); }),
      skan_(services_.platform.skAdNetwork, services_.platform.device, log_) {
  // Every process starts without a page trace.
  services_.db.whenReadable([&db = services_.db] {
    db.update(behavior::kDocument, [](MutableDocument& document) {
      document.setString("", behavior::kPiTrace);
      document.setNumber(std::nullopt, behavior::kPageStartTime);
    });
  });
}

Tracker::~Tracker() = default;

void Tracker::announce() {
  if (const auto configuration = services_.webView.getConfiguration()) {
    log_.debug("There is a custom webview configuration object passed to the sdk. " + configuration->description(),
               ZUL_HERE);
  } else {
    log_.debug(
        "There isn't a custom webview configuration object passed to the sdk. WKWebView of SDK will be initionalizaed "
        "with  '[[WKWebViewConfiguration alloc] init]'",
        ZUL_HERE);
  }
  if (const auto remark = services_.platform.bundle->remark(); !remark.empty()) log_.info(remark, ZUL_HERE);
  const auto infoName = services_.platform.bundle->infoName();
  if (const auto error = services_.platform.bundle->lastError(); !error.empty()) {
    log_.error("Cannot use " + infoName + ": " + error, ZUL_HERE);
  } else if (zulAuthorizationKey_.empty()) {
    log_.error("Nothing will be reported: there is no dictionary \"zulAuthorizationKey\" in " + infoName, ZUL_HERE);
  } else {
    for (const auto& problem : settingsProblems(zulAuthorizationKey_)) log_.error(problem, ZUL_HERE);
  }
}

// What the user could mend, such as a wrong address or an unknown authority. A host that exits is not told of requests
// that end because of it.
void Tracker::tell(const std::string& what, const std::string& problem) {
  if (services_.stopping) return;
  log_.error(what + " the collector at " + networkManager_.ZULApiUrl() + ": " + problem, ZUL_HERE);
}

void Tracker::checkDebugMode(bool dev) {
  services_.db.whenReadable([&db = services_.db, dev] {
    db.update(identify::kDocument,
              [dev](MutableDocument& document) { document.setBoolean(dev, identify::kBuildMode); });
  });
}

void Tracker::receiveNotificationWithParams(const Object& params) {
  services_.db.whenReadable([this, params] {
    services_.tasks.async(
        Tasks::Queue::global,
        [this, params] {
          networkManager_.receiveNotificationWithParams(
              params, services_.identifiers.getIdfa(), services_.record.environment().sender(),
              [this](bool success, const platform::HttpResponse& response) {
                if (!success) tell("The report of a click on a push did not reach", response.error);
              });
        },
        ZUL_HERE);
  });
}

Dictionary Tracker::getSessionData() {
  if (!services_.db.isReadable()) return {};
  return Dictionary::fromJson(*payloads_.createSessionJson()).value_or(Dictionary());
}

// ---- what becomes of an upload

UploadQueue::Owner Tracker::uploadOwner() {
  return {
      .sender = [this] { return services_.record.environment().sender(); },
      .accepted = [this](const Object& answer, const std::string& oldest, const std::string& newest,
                         const std::function<void()>& clear) { takeAccepted(answer, oldest, newest, clear); },
      .kept =
          [this](const std::optional<std::string>& reason, const std::string& problem) {
            if (!problem.empty() && !toldUploadProblem_.exchange(true)) tell("An upload did not reach", problem);
            errors_.send(reason, [this, reason](bool success) {
              if (success) log_.debug("[SDK -> COLLECTOR]: " + reason.value_or("(null)"), ZUL_HERE);
            });
          },
      .completed =
          [this] {
            if (!services_.stopping) services_.deferredLinks.callDeferredLinkCallback();
          },
      .now = [this] { return services_.util.currentTimeSec(); },
  };
}

void Tracker::takeAccepted(const Object& answer, const std::string& oldest, const std::string& newest,
                           const std::function<void()>& clear) {
  // The platform is called first, outside of everything: what it makes of it keeps no payload in the queue.
  log_.guard([&] { updatePostbackConversionValue(answer); }, ZUL_HERE);
  services_.record.sharedInstance();  // made here if need be, not inside the transaction
  services_.db.transaction([&] {
    const auto* const attributed = json::find(answer, "attributedInfo");
    if (attributed && attributed->is_object()) saveAttributedInfo(answer);
    services_.db.afterCommit([&] { selfValidation("[" + oldest + "]"); });
    clear();
    keepAccepted(newest);
  });
}

// The session lasts on from the upload that was accepted, and what was to be told once has been told.
void Tracker::keepAccepted(const std::string& newest) {
  auto& db = services_.db;
  const bool found = db.documentWithID(behavior::kDocument).exists();
  db.updateExisting(behavior::kDocument, [&](MutableDocument& document) {
    document.setDouble(services_.util.currentTimeSec() + SessionController::kSessionSeconds,
                       behavior::kSessionExpireSec);
  });
  db.afterCommit([this, found] {
    log_.debug(found ? "[SDK.Tracker]: behaviorDoc find success." : "[SDK.Tracker]: behaviorDoc is nil. check please.",
               ZUL_HERE);
  });
  if (const auto record = services_.record.getSharedInstance()) {
    if (record->isVisitNew == "Y") sessionController_.resetAboutNewVisitInfo();
    if (record->aidChange == "Y") sessionController_.resetAidChange();
    resetReportedLinks(*record, newest);
  }
  sessionController_.resetSaveToken();
  sessionController_.resetUptAfv();
  db.afterCommit([this] { payloads_.setEntireJson(nullptr); });
}

// A link that came while the upload was under way has not been reported: what the newest payload says has been. The
// stored link may be yet another than the record's, which a fingerprint's answer does not touch.
void Tracker::resetReportedLinks(const SessionJson& record, const std::string& newest) {
  const bool hasOpened = !record.openDl.value_or("").empty();
  if (record.isDrUpdate != "Y" && record.isIrUpdate != "Y" && !hasOpened) return;
  const auto reported = sessionOf(newest);
  const auto link = services_.db.documentWithID(deeplink::kDocument);
  if (record.isDrUpdate == "Y" && json::string(reported, "isDrUpdate") == "Y" &&
      json::integer(reported, "qzclkTime") == record.qzclkTime && same(json::string(reported, "qzs"), record.qzs)) {
    if (link.integerForKey(deeplink::kQzclkTime) == record.qzclkTime &&
        same(link.stringForKey(deeplink::kQzs), record.qzs)) {
      sessionController_.resetDrUpdate();
    } else {
      services_.db.afterCommit(
          [this] { services_.record.editExisting([](SessionJson& current) { current.isDrUpdate = "N"; }); });
    }
  }
  if (record.isIrUpdate == "Y" && json::string(reported, "isIrUpdate") == "Y") sessionController_.resetIrUpdate();
  if (hasOpened && same(json::string(reported, "openDl"), record.openDl)) {
    sessionController_.resetOpenDl();
  }
}

}  // namespace zul
