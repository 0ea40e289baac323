#include "SessionPayload.h"

#include <boost/json/object.hpp>
#include <string_view>
#include <utility>

#include "Json.h"

namespace zul {

namespace {

using S = SessionJson;
using X = PayloadExtras;

/// The text of the payload as it grows. A value of none adds nothing.
class PayloadText {
 public:
  void add(std::string_view key, const S::Text& value) {
    if (!value) return;
    begin(key);
    json::appendQuoted(text_, *value);
  }
  void add(std::string_view key, const boost::json::value& value) {
    if (value.is_null()) return;
    begin(key);
    json::append(text_, value);
  }
  template <typename Number>
  void addNumber(std::string_view key, Number value) {
    begin(key);
    json::append(text_, boost::json::value(value));
  }

  std::string finish() && {
    text_ += text_.empty() ? "{}" : "}";
    return std::move(text_);
  }

 private:
  // Keys are our own and need no escaping.
  void begin(std::string_view key) {
    if (text_.empty()) text_.reserve(4096);
    ((text_ += text_.empty() ? "{\"" : ",\"") += key) += "\":";
  }

  std::string text_;
};

template <S::Text S::*field>
void text(PayloadText& out, std::string_view key, const S& s, const X&) {
  out.add(key, s.*field);
}

void addNotEmpty(PayloadText& out, std::string_view key, const S::Text& value) {
  if (value && !value->empty()) out.add(key, value);
}

template <S::Text S::*field>
void notEmpty(PayloadText& out, std::string_view key, const S& s, const X&) {
  addNotEmpty(out, key, s.*field);
}

template <auto field>
void number(PayloadText& out, std::string_view key, const S& s, const X&) {
  out.addNumber(key, s.*field);
}

template <std::int64_t S::*field>
void nonZero(PayloadText& out, std::string_view key, const S& s, const X&) {
  if (s.*field != 0) out.addNumber(key, s.*field);
}

template <std::size_t index>
void attribute(PayloadText& out, std::string_view key, const S& s, const X&) {
  out.add(key, s.ut[index]);
}

void sdkVersion(PayloadText& out, std::string_view key, const S& s, const X&) {
  out.add(key, boost::json::object{{"SESSION", s.sdk_version}});
}
void isWifi(PayloadText& out, std::string_view key, const S& s, const X&) {
  out.addNumber(key, static_cast<double>(s.isWifi));
}
void appId(PayloadText& out, std::string_view key, const S& s, const X&) {
  out.add(key, s.appId);
}
void sarInfo(PayloadText& out, std::string_view key, const S&, const X& x) {
  out.add(key, x.sarInfo);
}
void AAATk(PayloadText& out, std::string_view key, const S&, const X& x) {
  out.add(key, x.AAATk);
}
void AAATktime(PayloadText& out, std::string_view key, const S&, const X& x) {
  out.addNumber(key, x.AAATktime);
}
void clientUserAgent(PayloadText& out, std::string_view key, const S&, const X& x) {
  addNotEmpty(out, key, x.clientUserAgent);
}

/// A key of the payload and what adds it, or leaves it out.
struct Key {
  std::string_view name;
  void (*add)(PayloadText& out, std::string_view key, const S&, const X&);
};

constexpr Key kFull[] = {
    {"sdk_version", sdkVersion},
    {"useMode", number<&S::useMode>},
    {"installTime", number<&S::installTime>},
    {"mbr", text<&S::mbr>},
    {"sx", text<&S::sx>},
    {"ag", text<&S::ag>},
    {"mbl", text<&S::mbl>},
    {"mbid", text<&S::mbid>},
    {"ut1", attribute<0>},
    {"ut2", attribute<1>},
    {"ut3", attribute<2>},
    {"ut4", attribute<3>},
    {"ut5", attribute<4>},
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
    {"isWifi", isWifi},
    {"plat", text<&S::plat>},
    {"dSource", text<&S::dSource>},
    {"inch", number<&S::inch>},
    {"buildMode", text<&S::buildMode>},
    {"aidChange", text<&S::aidChange>},
    {"pkg", text<&S::pkg>},
    {"appId", appId},
    {"advtId", text<&S::advtId>},
    {"uuid", text<&S::uuid>},
    {"vendorId", text<&S::vendorId>},
    {"advtFlag", number<&S::advtFlag>},
    {"uptAfV", text<&S::uptAfv>},
    {"keychainUUID", text<&S::keychainUUID>},
    {"sid", text<&S::sid>},
    {"isVisitNew", text<&S::isVisitNew>},
    {"isDf", text<&S::isDf>},
    {"isWf", text<&S::isWf>},
    {"isMf", text<&S::isMf>},
    {"isWfUs", text<&S::isWfUs>},
    {"udVt", number<&S::udVt>},
    {"ltvt", number<&S::ltvt>},
    {"ltVi", number<&S::ltVi>},
    {"udRvnc", number<&S::udRvnc>},
    {"ltRvnc", number<&S::ltRvnc>},
    {"csRvnVs", number<&S::csRvnVs>},
    {"ltrvni", number<&S::ltrvni>},
    {"lastOrdNo", notEmpty<&S::lastOrderNo>},
    {"firstOrd", text<&S::firstOrd>},
    {"ltRvnVt", number<&S::ltRvnVt>},
    {"ltrvn", number<&S::ltrvn>},
    {"isSFail", text<&S::isSFail>},
    {"pageKey", number<&S::pageKey>},
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
    {"pushCkTime", number<&S::pushCkTime>},
    {"pushPeriod", number<&S::pushPeriod>},
    {"pushTitle", text<&S::pushTitle>},
    {"saveToken", text<&S::saveToken>},
    {"pushExpiredTime", number<&S::pushExpiredTime>},
    {"_qzhst", text<&S::_qzhst>},
    {"_qzno", number<&S::_qzno>},
    {"_qzUdays", number<&S::_qzUdays>},
    {"_qzDebug", number<&S::_qzDebug>},
    {"_qzUseRetention", number<&S::_qzUseRetention>},
    {"_qzUseFingerPrint", number<&S::_qzUseFingerPrint>},
    {"_accessToken", text<&S::_accessToken>},
    {"vtTz", number<&S::vtTz>},
    {"sarInfo", sarInfo},
    {"AAATk", AAATk},
    {"AAATktime", AAATktime},
};

// After the internal campaigns:
constexpr Key kFullTail[] = {
    {"alreadySeenCampaignId", text<&S::alreadySeenCampaignId>},
    {"inamId", text<&S::inamId>},
    {"inamClkTime", nonZero<&S::inamClkTime>},
    {"inamExpireTime", nonZero<&S::inamExpireTime>},
    {"latestSkAdCurValue", nonZero<&S::latestSkAdCurValue>},
    {"clientUserAgent", clientUserAgent},
};

constexpr Key kReduced[] = {
    {"sdk_version", sdkVersion},
    {"isVisitNew", text<&S::isVisitNew>},
    {"useMode", number<&S::useMode>},
    {"_accessToken", text<&S::_accessToken>},
    {"_qzhst", text<&S::_qzhst>},
    {"_qzno", number<&S::_qzno>},
    {"_qzDebug", number<&S::_qzDebug>},
    {"lng", text<&S::lng>},
    {"cntr", text<&S::cntr>},
    {"tz", text<&S::tz>},
    {"os", text<&S::os>},
    {"osvr", text<&S::osvr>},
    {"sr", text<&S::sr>},
    {"phone", text<&S::phone>},
    {"gps", text<&S::gps>},
    {"cari", text<&S::cari>},
    {"isWifi", isWifi},
    {"plat", text<&S::plat>},
    {"buildMode", text<&S::buildMode>},
    {"aidChange", text<&S::aidChange>},
    {"advtFlag", number<&S::advtFlag>},
    {"dSource", text<&S::dSource>},
    {"apVr", text<&S::apVr>},
    {"appId", appId},
    {"advtId", text<&S::advtId>},
    {"vendorId", text<&S::vendorId>},
    {"uuid", text<&S::uuid>},
    {"sid", text<&S::sid>},
    {"qzs", text<&S::qzs>},
    {"qzm", text<&S::qzm>},
    {"qzc", text<&S::qzc>},
    {"qzw", text<&S::qzw>},
    {"qzref", text<&S::qzref>},
    {"installTime", number<&S::installTime>},
    {"pushNo", text<&S::pushNo>},
};

template <std::size_t count>
void fill(PayloadText& out, const Key (&keys)[count], const S& record, const X& extras) {
  for (const auto& key : keys) key.add(out, key.name, record, extras);
}

// A slot without a campaign contributes none of its three keys.
void fillCampaigns(PayloadText& out, const S& record) {
  for (std::size_t n = 0; n < record.inrc.size(); ++n) {
    const auto& slot = record.inrc[n];
    if (!slot.inrc) continue;
    const auto number = std::to_string(n + 1);
    out.add("inrc" + number, slot.inrc);
    out.addNumber("inrcTime" + number, slot.inrcTime);
    out.addNumber("inrcDt" + number, slot.inrcDt);
  }
}

}  // namespace

std::string sessionPayload(const SessionJson& record, const PayloadExtras& extras) {
  PayloadText out;
  if (record.useMode == 1 || record.useMode == 2) {
    fill(out, kFull, record, extras);
    fillCampaigns(out, record);
    fill(out, kFullTail, record, extras);
  } else if (record.useMode == 3) {
    fill(out, kReduced, record, extras);
  }
  return std::move(out).finish();
}

}  // namespace zul
