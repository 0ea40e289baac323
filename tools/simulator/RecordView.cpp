#include <boost/json/value.hpp>
#include <string_view>
#include <variant>

#include "SessionJson.h"
#include "Views.h"

namespace zul::simulator {

namespace {

using S = SessionJson;

struct Field {
  std::string_view name;
  std::variant<S::Text S::*, std::string S::*, std::int64_t S::*, bool S::*, double S::*, std::optional<double> S::*>
      member;
};

constexpr Field kFields[] = {
    {"sdk_version", &S::sdk_version},
    {"dSource", &S::dSource},
    {"_qzhst", &S::_qzhst},
    {"_qzno", &S::_qzno},
    {"_qzUdays", &S::_qzUdays},
    {"_qzDebug", &S::_qzDebug},
    {"_qzUseRetention", &S::_qzUseRetention},
    {"_qzUseFingerPrint", &S::_qzUseFingerPrint},
    {"_accessToken", &S::_accessToken},
    {"useMode", &S::useMode},
    {"mbr", &S::mbr},
    {"sx", &S::sx},
    {"ag", &S::ag},
    {"mbl", &S::mbl},
    {"mbid", &S::mbid},
    {"isLogin", &S::isLogin},
    {"loginTp", &S::loginTp},
    {"signupTp", &S::signupTp},
    {"lng", &S::lng},
    {"cntr", &S::cntr},
    {"ip", &S::ip},
    {"tz", &S::tz},
    {"os", &S::os},
    {"osvr", &S::osvr},
    {"sr", &S::sr},
    {"phone", &S::phone},
    {"apVr", &S::apVr},
    {"gps", &S::gps},
    {"cari", &S::cari},
    {"plat", &S::plat},
    {"isWifi", &S::isWifi},
    {"inch", &S::inch},
    {"advtId", &S::advtId},
    {"uptAfv", &S::uptAfv},
    {"keychainUUID", &S::keychainUUID},
    {"imei", &S::imei},
    {"vendorId", &S::vendorId},
    {"uuid", &S::uuid},
    {"aidChange", &S::aidChange},
    {"buildMode", &S::buildMode},
    {"pkg", &S::pkg},
    {"sid", &S::sid},
    {"advtFlag", &S::advtFlag},
    {"udVt", &S::udVt},
    {"ltvt", &S::ltvt},
    {"ltVi", &S::ltVi},
    {"pageKey", &S::pageKey},
    {"vtTz", &S::vtTz},
    {"isVisitNew", &S::isVisitNew},
    {"isDf", &S::isDf},
    {"isWf", &S::isWf},
    {"isMf", &S::isMf},
    {"isWfUs", &S::isWfUs},
    {"piTrace", &S::piTrace},
    {"udRvnc", &S::udRvnc},
    {"ltRvnc", &S::ltRvnc},
    {"csRvnVs", &S::csRvnVs},
    {"ltrvni", &S::ltrvni},
    {"ltRvnVt", &S::ltRvnVt},
    {"ltrvn", &S::ltrvn},
    {"lastOrderNo", &S::lastOrderNo},
    {"firstOrd", &S::firstOrd},
    {"isSFail", &S::isSFail},
    {"qzs", &S::qzs},
    {"qzm", &S::qzm},
    {"qzc", &S::qzc},
    {"qzw", &S::qzw},
    {"qzaffid", &S::qzaffid},
    {"qzbffid", &S::qzbffid},
    {"qzref", &S::qzref},
    {"isDrUpdate", &S::isDrUpdate},
    {"openDl", &S::openDl},
    {"latestGcmpid", &S::latestGcmpid},
    {"qzp", &S::qzp},
    {"qzclkTime", &S::qzclkTime},
    {"its", &S::its},
    {"itm", &S::itm},
    {"itc", &S::itc},
    {"itw", &S::itw},
    {"itaffid", &S::itaffid},
    {"itbffid", &S::itbffid},
    {"installReferrer", &S::installReferrer},
    {"isIrUpdate", &S::isIrUpdate},
    {"itp", &S::itp},
    {"itclkTime", &S::itclkTime},
    {"installTime", &S::installTime},
    {"pushtk", &S::pushtk},
    {"pushNo", &S::pushNo},
    {"pushTitle", &S::pushTitle},
    {"saveToken", &S::saveToken},
    {"pushCkTime", &S::pushCkTime},
    {"pushPeriod", &S::pushPeriod},
    {"pushExpiredTime", &S::pushExpiredTime},
    {"networkTime", &S::networkTime},
    {"deviceTime", &S::deviceTime},
    {"timeOffset", &S::timeOffset},
    {"alreadySeenCampaignId", &S::alreadySeenCampaignId},
    {"inamId", &S::inamId},
    {"inamClkTime", &S::inamClkTime},
    {"inamExpireTime", &S::inamExpireTime},
    {"ATTAuthStatus", &S::ATTAuthStatus},
    {"latestSkAdCurValue", &S::latestSkAdCurValue},
};

template <typename T>
void add(boost::json::object& view, std::string_view name, const T& value) {
  view[name] = value;
}
template <typename T>
void add(boost::json::object& view, std::string_view name, const std::optional<T>& value) {
  if (value) view[name] = *value;
}

}  // namespace

boost::json::object recordView(const SessionJson& record) {
  boost::json::object view;
  for (const auto& field : kFields) {
    std::visit([&](auto member) { add(view, field.name, record.*member); }, field.member);
  }
  for (std::size_t n = 0; n < record.ut.size(); ++n) add(view, "ut" + std::to_string(n + 1), record.ut[n]);
  if (!record.appId.is_null()) view["appId"] = record.appId;
  for (std::size_t n = 0; n < record.inrc.size(); ++n) {
    const auto& slot = record.inrc[n];
    if (!slot.inrc) continue;
    const auto number = std::to_string(n + 1);
    view["inrc" + number] = *slot.inrc;
    view["inrcTime" + number] = slot.inrcTime;
    view["inrcDt" + number] = slot.inrcDt;
  }
  return view;
}

}  // namespace zul::simulator
