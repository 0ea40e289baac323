#include "KeyGroups.h"

#include <algorithm>
#include <boost/json.hpp>
#include <string_view>

#include "Fields.h"
#include "Json.h"
#include "WireKeys.h"

namespace zul::collector {

namespace {

struct Group {
  std::string_view name;
  std::string_view keys;  // separated by blanks
};

constexpr Group kGroups[] = {
    {"service",
     "useMode _qzno _qzhst _accessToken _qzUdays _qzDebug _qzUseRetention _qzUseFingerPrint sdk_version dSource "
     "buildMode isSFail"},
    {"member", "mbid mbr mbl sx ag ut1 ut2 ut3 ut4 ut5 isLogin loginTp signupTp"},
    {"device", "phone os osvr plat apVr lng cntr tz sr inch cari isWifi gps clientUserAgent"},
    {"identity", "uuid vendorId keychainUUID advtId advtFlag aidChange uptAfV sid pkg appId"},
    {"visit", "vtTz isVisitNew ltvt udVt ltVi pageKey"},
    {"unique user", "isDf isWf isWfUs isMf"},
    {"purchase", "udRvnc ltRvnc csRvnVs ltrvni ltRvnVt ltrvn lastOrdNo firstOrd"},
    {"attribution",
     "installTime its itm itc itw itp itaffid itbffid itclkTime installReferrer isIrUpdate qzs qzm qzc qzw qzp qzaffid "
     "qzbffid qzclkTime qzref isDrUpdate openDl latestGcmpid sarInfo AAATk AAATktime latestSkAdCurValue"},
    {"push", "pushtk saveToken pushNo pushTitle pushCkTime pushPeriod pushExpiredTime"},
    {"campaigns",
     "inrc1 inrcTime1 inrcDt1 inrc2 inrcTime2 inrcDt2 inrc3 inrcTime3 inrcDt3 inrc4 inrcTime4 inrcDt4 inrc5 inrcTime5 "
     "inrcDt5 inrc6 inrcTime6 inrcDt6 inrc7 inrcTime7 inrcDt7 inrc8 inrcTime8 inrcDt8 inrc9 inrcTime9 inrcDt9 inrc10 "
     "inrcTime10 inrcDt10 alreadySeenCampaignId inamId inamClkTime inamExpireTime"},
};

bool isTime(std::string_view key) {
  constexpr std::string_view kTimes[] = {"vtTz",       "installTime",     "itclkTime",   "qzclkTime",     "AAATktime",
                                         "pushCkTime", "pushExpiredTime", "inamClkTime", "inamExpireTime"};
  return key.starts_with("inrcTime") || std::find(std::begin(kTimes), std::end(kTimes), key) != std::end(kTimes);
}

// What a field means is nothing that a mistake in the library's table could hide behind.
std::string_view meaning(std::string_view key) {
  const auto known = fields();
  const auto field = std::find_if(known.begin(), known.end(),
                                  [&](const Field& one) { return one.sent != Sent::never && one.payloadKey() == key; });
  return field == known.end() ? std::string_view() : textOf(*field).meaning;
}

}  // namespace

std::string catalogue() {
  boost::json::array all;
  for (auto [group, keys] : kGroups) {
    while (!keys.empty()) {
      const auto key = keys.substr(0, keys.find(' '));
      keys.remove_prefix(std::min(key.size() + 1, keys.size()));
      auto kind = expectedKind(key, 1);
      if (!kind) kind = expectedKind(key, 3);
      boost::json::object entry{
          {"key", key}, {"group", group}, {"kind", kind ? name(*kind) : ""}, {"meaning", meaning(key)}};
      if (isTime(key)) entry["time"] = true;
      all.push_back(std::move(entry));
    }
  }
  return json::text(all);
}

}  // namespace zul::collector
