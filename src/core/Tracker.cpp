#include "Tracker.h"

#include "AttributionResult.h"
#include "DeferredLinkManager.h"
#include "Keys.h"
#include "LocalDB.h"
#include "SessionRecord.h"
#include "Settings.h"
#include "ZULUtil.h"
#include "zul/CustomWKWebViewConfiguration.h"
#include "zul/platform/Bundle.h"

namespace zul {

using namespace keys;

namespace {

// An id of digits is easily written as a number.
std::optional<std::string> textOrNumber(const Dictionary& dictionary, std::string_view key) {
  const auto number = dictionary.integer(key);
  return number != 0 ? std::to_string(number) : dictionary.string(key);
}

}  // namespace

Tracker::Tracker(TrackerServices services)
    : services_(std::move(services)),
      log_(services_.log),
      info_(services_.bundle->infoDictionary()),
      zulAuthorizationKey_(info_.dictionary("zulAuthorizationKey")),
      facebookAppIdCheck_(textOrNumber(info_, "FacebookAppID")),
      useMode_(zulAuthorizationKey_.integer("useMode")),
      serviceNumber_(zulAuthorizationKey_.integer("serviceNumber")),
      sessionController_(services_.db, services_.record, services_.util, log_),
      networkManager_(services_.http, services_.tasks, services_.deployment, log_, zulAuthorizationKey_),
      errors_(services_.record, networkManager_, serviceNumber_),
      payloads_(services_.record, services_.webView, log_),
      earlyEvents_(services_.db),
      uploads_(services_.db, networkManager_, services_.tasks, log_, uploadOwner()) {
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
  if (const auto remark = services_.bundle->remark(); !remark.empty()) log_.info(remark, ZUL_HERE);
  const auto infoName = services_.bundle->infoName();
  if (const auto error = services_.bundle->lastError(); !error.empty()) {
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

Dictionary Tracker::getAttributedInfo() {
  return services_.attribution.getAttributedInfo();
}

Dictionary Tracker::getSessionData() {
  if (!services_.db.isReadable()) return {};
  return Dictionary::fromJson(*payloads_.createSessionJson()).value_or(Dictionary());
}

// ---- what becomes of an upload

UploadQueue::Owner Tracker::uploadOwner() {
  return {
      .sender = [this] { return services_.record.environment().sender(); },
      .accepted =
          [this](const Object&, const std::string&, const std::function<void()>& clear) {
            services_.record.sharedInstance();  // made here if need be, not inside the transaction
            services_.db.transaction([&] {
              clear();
              keepAccepted();
            });
          },
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

// The session lasts on from the upload that was accepted, and what was to be told once has been told.
void Tracker::keepAccepted() {
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
    if (record->isDrUpdate == "Y") sessionController_.resetDrUpdate();
    if (record->isIrUpdate == "Y") sessionController_.resetIrUpdate();
    if (record->aidChange == "Y") sessionController_.resetAidChange();
    if (!record->openDl.value_or("").empty()) sessionController_.resetOpenDl();
  }
  sessionController_.resetSaveToken();
  sessionController_.resetUptAfv();
  db.afterCommit([this] { payloads_.setEntireJson(nullptr); });
}

}  // namespace zul
