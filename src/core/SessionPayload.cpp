#include "SessionPayload.h"

#include <string_view>

namespace zul {

namespace {

using Value = boost::json::value;
using S = SessionJson;
using X = PayloadExtras;

Value ofText(const S::Text& text) {
  return text ? Value(*text) : Value();
}

template <S::Text S::*field>
Value text(const S& s, const X&) {
  return ofText(s.*field);
}

template <S::Text S::*field>
Value notEmpty(const S& s, const X&) {
  return (s.*field).value_or("").empty() ? Value() : Value(*(s.*field));
}

template <std::int64_t S::*field>
Value integer(const S& s, const X&) {
  return s.*field;
}

template <std::int64_t S::*field>
Value nonZero(const S& s, const X&) {
  return s.*field == 0 ? Value() : Value(s.*field);
}

template <double S::*field>
Value real(const S& s, const X&) {
  return s.*field;
}

template <bool S::*field>
Value flag(const S& s, const X&) {
  return s.*field;
}

Value sdkVersion(const S& s, const X&) {
  return boost::json::object{{"SESSION", s.sdk_version}};
}

/// A key of the payload and what it is filled from; null leaves the key out.
struct Key {
  std::string_view name;
  Value (*read)(const S&, const X&);
};

constexpr Key kFull[] = {
    {"sdk_version", sdkVersion},
    {"useMode", integer<&S::useMode>},
    {"installTime", integer<&S::installTime>},
    {"mbr", text<&S::mbr>},
    {"sx", text<&S::sx>},
    {"ag", text<&S::ag>},
    {"mbl", text<&S::mbl>},
    {"mbid", text<&S::mbid>},
    {"ut1", [](const S& s, const X&) { return ofText(s.ut[0]); }},
    {"ut2", [](const S& s, const X&) { return ofText(s.ut[1]); }},
    {"ut3", [](const S& s, const X&) { return ofText(s.ut[2]); }},
    {"ut4", [](const S& s, const X&) { return ofText(s.ut[3]); }},
    {"ut5", [](const S& s, const X&) { return ofText(s.ut[4]); }},
    {"isLogin", text<&S::isLogin>},
    {"loginTp", text<&S::loginTp>},
    {"signupTp", text<&S::signupTp>},
    {"cntr", text<&S::cntr>},
    {"lng", text<&S::lng>},
    {"tz", text<&S::tz>},
    {"os", text<&S::os>},
    {"osvr", text<&S::osvr>},
    {"sr", text<&S::sr>},
    {"phone", text<&S::phone>},
    {"apVr", text<&S::apVr>},
    {"cari", text<&S::cari>},
    {"isWifi", [](const S& s, const X&) { return Value(static_cast<double>(s.isWifi)); }},
    {"plat", text<&S::plat>},
    {"dSource", text<&S::dSource>},
    {"inch", real<&S::inch>},
    {"buildMode", text<&S::buildMode>},
    {"aidChange", text<&S::aidChange>},
    {"pkg", text<&S::pkg>},
    {"appId", [](const S& s, const X&) { return s.appId; }},
    {"advtId", text<&S::advtId>},
    {"uuid", text<&S::uuid>},
    {"vendorId", text<&S::vendorId>},
    {"advtFlag", integer<&S::advtFlag>},
    {"uptAfV", text<&S::uptAfv>},
    {"keychainUUID", text<&S::keychainUUID>},
    {"sid", text<&S::sid>},
    {"isVisitNew", text<&S::isVisitNew>},
    {"isDf", text<&S::isDf>},
    {"isWf", text<&S::isWf>},
    {"isMf", text<&S::isMf>},
    {"isWfUs", text<&S::isWfUs>},
    {"udVt", integer<&S::udVt>},
    {"ltvt", integer<&S::ltvt>},
    {"ltVi", integer<&S::ltVi>},
    {"udRvnc", integer<&S::udRvnc>},
    {"ltRvnc", integer<&S::ltRvnc>},
    {"csRvnVs", integer<&S::csRvnVs>},
    {"ltrvni", integer<&S::ltrvni>},
    {"lastOrdNo", notEmpty<&S::lastOrderNo>},
    {"firstOrd", text<&S::firstOrd>},
    {"ltRvnVt", integer<&S::ltRvnVt>},
    {"ltrvn", integer<&S::ltrvn>},
    {"isSFail", text<&S::isSFail>},
    {"pageKey", integer<&S::pageKey>},
    {"qzs", text<&S::qzs>},
    {"qzm", text<&S::qzm>},
    {"qzc", text<&S::qzc>},
    {"qzw", text<&S::qzw>},
    {"qzp", nonZero<&S::qzp>},
    {"qzaffid", text<&S::qzaffid>},
    {"qzbffid", text<&S::qzbffid>},
    {"qzclkTime", nonZero<&S::qzclkTime>},
    {"qzref", text<&S::qzref>},
    {"isDrUpdate", text<&S::isDrUpdate>},
    {"openDl", text<&S::openDl>},
    {"latestGcmpid", text<&S::latestGcmpid>},
    {"its", text<&S::its>},
    {"itm", text<&S::itm>},
    {"itc", text<&S::itc>},
    {"itw", text<&S::itw>},
    {"itp", nonZero<&S::itp>},
    {"itaffid", text<&S::itaffid>},
    {"itbffid", text<&S::itbffid>},
    {"itclkTime", nonZero<&S::itclkTime>},
    {"installReferrer", text<&S::installReferrer>},
    {"isIrUpdate", text<&S::isIrUpdate>},
    {"pushtk", text<&S::pushtk>},
    {"pushNo", text<&S::pushNo>},
    {"pushCkTime", integer<&S::pushCkTime>},
    {"pushPeriod", integer<&S::pushPeriod>},
    {"pushTitle", text<&S::pushTitle>},
    {"saveToken", text<&S::saveToken>},
    {"pushExpiredTime", integer<&S::pushExpiredTime>},
    {"_qzhst", text<&S::_qzhst>},
    {"_qzno", integer<&S::_qzno>},
    {"_qzUdays", integer<&S::_qzUdays>},
    {"_qzDebug", flag<&S::_qzDebug>},
    {"_qzUseRetention", flag<&S::_qzUseRetention>},
    {"_qzUseFingerPrint", flag<&S::_qzUseFingerPrint>},
    {"_accessToken", text<&S::_accessToken>},
    {"vtTz", integer<&S::vtTz>},
    {"sarInfo", [](const S&, const X& x) { return x.sarInfo; }},
    {"AAATk", [](const S&, const X& x) { return ofText(x.AAATk); }},
    {"AAATktime", [](const S&, const X& x) { return Value(x.AAATktime); }},
};

// After the internal campaigns:
constexpr Key kFullTail[] = {
    {"alreadySeenCampaignId", text<&S::alreadySeenCampaignId>},
    {"inamId", text<&S::inamId>},
    {"inamClkTime", nonZero<&S::inamClkTime>},
    {"inamExpireTime", nonZero<&S::inamExpireTime>},
    {"latestSkAdCurValue", nonZero<&S::latestSkAdCurValue>},
    {"clientUserAgent",
     [](const S&, const X& x) {
       return ofText(x.clientUserAgent && !x.clientUserAgent->empty() ? x.clientUserAgent : std::nullopt);
     }},
};

constexpr Key kReduced[] = {
    {"sdk_version", sdkVersion},
    {"isVisitNew", text<&S::isVisitNew>},
    {"useMode", integer<&S::useMode>},
    {"_accessToken", text<&S::_accessToken>},
    {"_qzhst", text<&S::_qzhst>},
    {"_qzno", integer<&S::_qzno>},
    {"_qzDebug", flag<&S::_qzDebug>},
    {"lng", text<&S::lng>},
    {"cntr", text<&S::cntr>},
    {"tz", text<&S::tz>},
    {"os", text<&S::os>},
    {"osvr", text<&S::osvr>},
    {"sr", text<&S::sr>},
    {"phone", text<&S::phone>},
    {"gps", text<&S::gps>},
    {"cari", text<&S::cari>},
    {"isWifi", [](const S& s, const X&) { return Value(static_cast<double>(s.isWifi)); }},
    {"plat", text<&S::plat>},
    {"buildMode", text<&S::buildMode>},
    {"aidChange", text<&S::aidChange>},
    {"advtFlag", integer<&S::advtFlag>},
    {"dSource", text<&S::dSource>},
    {"apVr", text<&S::apVr>},
    {"appId", [](const S& s, const X&) { return s.appId; }},
    {"advtId", text<&S::advtId>},
    {"vendorId", text<&S::vendorId>},
    {"uuid", text<&S::uuid>},
    {"sid", text<&S::sid>},
    {"qzs", text<&S::qzs>},
    {"qzm", text<&S::qzm>},
    {"qzc", text<&S::qzc>},
    {"qzw", text<&S::qzw>},
    {"qzref", text<&S::qzref>},
    {"installTime", integer<&S::installTime>},
    {"pushNo", text<&S::pushNo>},
};

template <std::size_t count>
void fill(boost::json::object& payload, const Key (&keys)[count], const S& record, const X& extras) {
  for (const auto& key : keys) {
    if (auto value = key.read(record, extras); !value.is_null()) payload.emplace(key.name, std::move(value));
  }
}

// A slot without a campaign contributes none of its three keys.
void fillCampaigns(boost::json::object& payload, const S& record) {
  for (std::size_t n = 0; n < record.inrc.size(); ++n) {
    const auto& slot = record.inrc[n];
    if (!slot.inrc) continue;
    const auto number = std::to_string(n + 1);
    payload.emplace("inrc" + number, *slot.inrc);
    payload.emplace("inrcTime" + number, slot.inrcTime);
    payload.emplace("inrcDt" + number, slot.inrcDt);
  }
}

}  // namespace

boost::json::object sessionPayload(const SessionJson& record, const PayloadExtras& extras) {
  boost::json::object payload;
  if (record.useMode == 1 || record.useMode == 2) {
    payload.reserve(std::size(kFull) + std::size(kFullTail) + 3 * record.inrc.size());
    fill(payload, kFull, record, extras);
    fillCampaigns(payload, record);
    fill(payload, kFullTail, record, extras);
  } else if (record.useMode == 3) {
    payload.reserve(std::size(kReduced));
    fill(payload, kReduced, record, extras);
  }
  return payload;
}

}  // namespace zul
