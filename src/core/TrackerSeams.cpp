#include "Tracker.h"

// Operations that the start-up and the facade already call and whose rooms are yet to come: attribution,
// engagement and the web view. Each moves to its own file when it is built.
namespace zul {

void Tracker::requestIadInfo() {}
void Tracker::requestFingerPrintByDeeplink(bool) {}
void Tracker::requestFingerPrintByDeeplinkInWeb(bool, std::int64_t) {}
void Tracker::parseDeepLink(const std::optional<std::string>&) {}
void Tracker::parseReferrer(const std::optional<std::string>&) {}
void Tracker::parseReferrer2(const std::optional<std::string>&) {}
void Tracker::setFacebookreferrerData(const std::optional<std::string>&) {}
std::string Tracker::parseAttributionLinkToGetDeeplinkUrl(const std::optional<std::string>&) {
  return {};
}
void Tracker::checkInstallReferrerOrder() {}
void Tracker::checkToResetDRInfo() {}
void Tracker::checkToResetPushInfo() {}
void Tracker::checkToResetInternalCampaign() {}
void Tracker::updatePostbackConversionValue(const Object&) {}
void Tracker::saveAttributedInfo(const Object&) {}
void Tracker::selfValidation(const std::string&) {}
void Tracker::setUser(const User&) {}
void Tracker::saveUserLoginInfo() {}
void Tracker::setUserLogout() {}
void Tracker::saveDeviceToken(const std::optional<std::string>&) {}
void Tracker::setInternalCampaign(const InternalCampaign&) {}
void Tracker::setIDFA(const std::string&) {}
void Tracker::denyATT() {}
void Tracker::setATTAuthorizationStatus(std::int64_t) {}

}  // namespace zul
