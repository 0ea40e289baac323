// What the user answered when asked for consent to tracking. The application asks; it tells the answer here.

#include "Identifiers.h"
#include "Keys.h"
#include "LocalDB.h"
#include "SessionRecord.h"
#include "Tracker.h"

namespace zul {

using namespace keys;

void Tracker::setIDFA(const std::string& given) {
  const auto identifier = Identifiers::orNone(given);
  setATTAlertCheked("Y");
  services_.db.whenReadable([this, identifier] {
    if (!trackingAnswered()) {
      services_.record.editExisting([&](SessionJson& record) { record.advtId = identifier; });
      checkIDFAChange(identifier);
    }
    setATTAuthorizationStatus(Environment::kAuthorized);
  });
}

void Tracker::checkIDFAChange(const std::string& identifier) {
  if (!services_.identifiers.checkIDFAChange(Identifiers::orNone(identifier))) return;
  services_.record.editExisting([](SessionJson& record) { record.uptAfv = "Y"; });
}

void Tracker::denyATT() {
  setATTAlertCheked("N");
  services_.db.whenReadable([&db = services_.db] {
    db.update(identify::kDocument, [](MutableDocument& document) { document.setString("Y", identify::kAttPopupDone); });
  });
}

void Tracker::setATTAuthorizationStatus(std::int64_t status) {
  services_.db.whenReadable([this, status] {
    services_.db.update(attstatus::kDocument,
                        [&](MutableDocument& document) { document.setInteger(status, attstatus::kAttAuthStatus); });
    log_.debug("Tracker setATTAuthorizationStatus", ZUL_HERE);
    if (!ZULinitYN_) log_.debug("Tracker init not yet", ZUL_HERE);
    sessionController_.updateSesssionAboutEnvironment();
  });
}

void Tracker::setGpsIsOn(const std::optional<std::string>& gps) {
  editRecord([gps](SessionJson& record) { record.gps = gps; });
}

bool Tracker::trackingAnswered() {
  return services_.db.documentWithID(identify::kDocument).stringForKey(identify::kAttPopupDone) == "Y";
}

}  // namespace zul
