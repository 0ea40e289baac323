#include "DeferredLinkManager.h"
#include "Json.h"
#include "LocalDB.h"
#include "SessionRecord.h"
#include "Tracker.h"
#include "ZULUtil.h"

namespace zul {

namespace {

// A payload recorded before initialization takes over the session that it is sent in.
std::string inSession(Tracker::Object payload, const boost::json::object& session) {
  const auto found = payload.find("SESSION");
  if (found != payload.end() && found->value().is_object()) {
    auto& recorded = found->value().get_object();
    if (const auto sid = json::string(session, "sid")) {
      recorded["sid"] = *sid;
    } else {
      recorded.erase("sid");
    }
    recorded["vtTz"] = json::truncate(json::number(session, "vtTz").value_or(0));
  }
  return json::text(payload);
}

}  // namespace

void Tracker::sendToServerWithPageYN(bool) {
  upload(locked([](Fields& fields) { return fields.entireJson; }));
}

void Tracker::exceptionSendToServer() {
  locked([](Fields& fields) { fields.entireJson = nullptr; });
  sendToServerWithPageYN(false);
}

void Tracker::upload(const Payload& entireJson) {
  std::vector<std::string> payloads;
  if (exceptionDataSend_) {
    auto [recorded, session] =
        locked([](Fields& fields) { return std::pair(fields.exceptionJsonList, fields.sessionJsonDict); });
    const auto current = json::parseObject(session ? *session : "{}").value_or(Object());
    for (auto& payload : recorded) payloads.push_back(inSession(std::move(payload), current));
  } else {
    payloads.push_back(entireJson ? "{\"SESSION\":" + *entireJson + "}" : "{}");
  }
  uploads_.send(std::move(payloads));
}

UploadQueue::Owner Tracker::uploadOwner() {
  return {
      .accepted =
          [this](const Object& answer, const std::string& firstPayload) {
            updatePostbackConversionValue(answer);
            if (answer.contains("attributedInfo")) saveAttributedInfo(answer);
            selfValidation(firstPayload);
            services_.record.sharedInstance();  // made here if need be, not inside the transaction
          },
      .keepAccepted = [this] { keepAccepted(); },
      .kept =
          [this](const std::optional<std::string>& reason) {
            sendErrorLog(reason, "[SDK -> COLLECTOR]: " + reason.value_or("(null)"));
          },
      .completed =
          [this] {
            if (!services_.stopping) services_.deferredLinks.callDeferredLinkCallback();
          },
  };
}

// The session lasts on from the upload that was accepted, and what was to be told once has been told.
void Tracker::keepAccepted() {
  auto& db = services_.db;
  const bool found = db.documentWithID("Behavior").exists();
  db.updateExisting("Behavior", [&](MutableDocument& behavior) {
    behavior.setDouble(services_.util.currentTimeSec() + SessionController::kSessionSeconds, "sessionExpireSec");
  });
  db.afterCommit([this, found] {
    log_.debug(found ? "[SDK.Tracker]: behaviorDoc find success." : "[SDK.Tracker]: behaviorDoc is nil. check please.");
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
  db.afterCommit([this] { locked([](Fields& fields) { fields.entireJson = nullptr; }); });
}

Tracker::Object Tracker::getErrorLogParamsDictionaryWithErrlog(const std::optional<std::string>& text) {
  const auto record = services_.record.sharedInstance();
  Object params;
  params["_qzno"] = zulAuthorizationKey_.integer("serviceNumber");
  params["errlog"] = text.value_or("");  // an answer may have no reason; the key is always there
  constexpr std::pair<std::string_view, SessionJson::Text SessionJson::*> kTexts[] = {
      {"qzref", &SessionJson::qzref},
      {"installReferrer", &SessionJson::installReferrer},
      {"advtId", &SessionJson::advtId},
      {"lng", &SessionJson::lng},
      {"cntr", &SessionJson::cntr},
      {"tz", &SessionJson::tz},
      {"os", &SessionJson::os},
      {"phone", &SessionJson::phone},
      {"apVr", &SessionJson::apVr},
      {"plat", &SessionJson::plat},
      {"vendorId", &SessionJson::vendorId}};
  for (const auto& [key, field] : kTexts) {
    if (const auto& value = (*record).*field) params[key] = *value;
  }
  params["advtFlag"] = record->advtFlag;
  return params;
}

void Tracker::sendErrorLog(const std::optional<std::string>& text, const std::string& arrived) {
  networkManager_.sendErrorLogWithErrParams(getErrorLogParamsDictionaryWithErrlog(text),
                                            [this, arrived](bool success, const platform::HttpResponse&) {
                                              if (success) log_.debug(arrived);
                                            });
}

}  // namespace zul
