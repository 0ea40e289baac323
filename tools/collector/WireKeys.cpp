#include "WireKeys.h"

#include <charconv>
#include <string>
#include <unordered_map>

namespace zul::collector {

namespace {

constexpr auto sometimes = WireKey::sometimes;
constexpr auto always = WireKey::always;

constexpr WireKey kKeys[] = {
    {"sdk_version", Kind::object, always, always},
    {"useMode", Kind::whole, always, always},
    {"installTime", Kind::whole, always, always},
    {"mbr", Kind::text},
    {"sx", Kind::text},
    {"ag", Kind::text},
    {"mbl", Kind::text},
    {"mbid", Kind::text},
    {"ut1", Kind::text},
    {"ut2", Kind::text},
    {"ut3", Kind::text},
    {"ut4", Kind::text},
    {"ut5", Kind::text},
    {"isLogin", Kind::text},
    {"loginTp", Kind::text},
    {"signupTp", Kind::text},
    {"cntr", Kind::text, sometimes, sometimes},
    {"lng", Kind::text, sometimes, sometimes},
    {"tz", Kind::text, sometimes, sometimes},
    {"os", Kind::text, sometimes, sometimes},
    {"osvr", Kind::text, sometimes, sometimes},
    {"sr", Kind::text, sometimes, sometimes},
    {"phone", Kind::text, sometimes, sometimes},
    {"apVr", Kind::text, sometimes, sometimes},
    {"cari", Kind::text, sometimes, sometimes},
    {"isWifi", Kind::real, always, always},
    {"plat", Kind::text, always, always},
    {"dSource", Kind::text, always, always},
    {"inch", Kind::real, always},
    {"buildMode", Kind::text, sometimes, sometimes},
    {"aidChange", Kind::text, sometimes, sometimes},
    {"pkg", Kind::text},
    {"appId", Kind::textOrNumber, sometimes, sometimes},
    {"advtId", Kind::text, sometimes, sometimes},
    {"uuid", Kind::text, always, always},
    {"vendorId", Kind::text, always, always},
    {"advtFlag", Kind::whole, always, always},
    {"uptAfV", Kind::text},
    {"keychainUUID", Kind::text},
    {"sid", Kind::text, always, always},
    {"isVisitNew", Kind::yesNo, sometimes, sometimes},
    {"isDf", Kind::yesNo},
    {"isWf", Kind::yesNo},
    {"isMf", Kind::yesNo},
    {"isWfUs", Kind::yesNo},
    {"udVt", Kind::whole, always},
    {"ltvt", Kind::whole, always},
    {"ltVi", Kind::whole, always},
    {"udRvnc", Kind::whole, always},
    {"ltRvnc", Kind::whole, always},
    {"csRvnVs", Kind::whole, always},
    {"ltrvni", Kind::whole, always},
    {"lastOrdNo", Kind::text},
    {"firstOrd", Kind::yesNo},
    {"ltRvnVt", Kind::whole, always},
    {"ltrvn", Kind::whole, always},
    {"isSFail", Kind::text},
    {"pageKey", Kind::whole, always},
    {"qzs", Kind::text, sometimes, sometimes},
    {"qzm", Kind::text, sometimes, sometimes},
    {"qzc", Kind::text, sometimes, sometimes},
    {"qzw", Kind::text, sometimes, sometimes},
    {"qzp", Kind::whole},
    {"qzaffid", Kind::text},
    {"qzbffid", Kind::text},
    {"qzclkTime", Kind::whole},
    {"qzref", Kind::text, sometimes, sometimes},
    {"isDrUpdate", Kind::text},
    {"openDl", Kind::text},
    {"latestGcmpid", Kind::text},
    {"its", Kind::text},
    {"itm", Kind::text},
    {"itc", Kind::text},
    {"itw", Kind::text},
    {"itp", Kind::whole},
    {"itaffid", Kind::text},
    {"itbffid", Kind::text},
    {"itclkTime", Kind::whole},
    {"installReferrer", Kind::text},
    {"isIrUpdate", Kind::text},
    {"pushtk", Kind::text},
    {"pushNo", Kind::text, sometimes, sometimes},
    {"pushCkTime", Kind::whole, always},
    {"pushPeriod", Kind::whole, always},
    {"pushTitle", Kind::text},
    {"saveToken", Kind::text},
    {"pushExpiredTime", Kind::whole, always},
    {"_qzhst", Kind::text, sometimes, sometimes},
    {"_qzno", Kind::whole, always, always},
    {"_qzUdays", Kind::whole, always},
    {"_qzDebug", Kind::boolean, always, always},
    {"_qzUseRetention", Kind::boolean, always},
    {"_qzUseFingerPrint", Kind::boolean, always},
    {"_accessToken", Kind::text, sometimes, sometimes},
    {"vtTz", Kind::whole, always},
    {"sarInfo", Kind::object},
    {"AAATk", Kind::text},
    {"AAATktime", Kind::whole, always},
    {"alreadySeenCampaignId", Kind::text},
    {"inamId", Kind::text},
    {"inamClkTime", Kind::whole},
    {"inamExpireTime", Kind::whole},
    {"latestSkAdCurValue", Kind::whole},
    {"clientUserAgent", Kind::text},
    {"gps", Kind::text, sometimes, sometimes, false},
};

/// Null for a key that is not in the table.
const WireKey* find(std::string_view key) {
  static const auto byKey = [] {
    std::unordered_map<std::string_view, const WireKey*> keys;
    for (const auto& known : kKeys) keys.emplace(known.key, &known);
    return keys;
  }();
  const auto found = byKey.find(key);
  return found == byKey.end() ? nullptr : found->second;
}

/// Of the keys inrc1, inrcTime1, inrcDt1 to inrc10, inrcTime10, inrcDt10.
std::optional<Kind> slotKind(std::string_view key) {
  for (const std::string_view prefix : {"inrcTime", "inrcDt", "inrc"}) {
    if (!key.starts_with(prefix)) continue;
    const auto number = key.substr(prefix.size());
    int slot = 0;
    std::from_chars(number.data(), number.data() + number.size(), slot);
    if (slot < 1 || slot > 10 || std::to_string(slot) != number) return std::nullopt;
    return prefix == "inrc" ? Kind::text : Kind::whole;
  }
  return std::nullopt;
}

}  // namespace

std::span<const WireKey> wireKeys() {
  return kKeys;
}

std::optional<Kind> expectedKind(std::string_view key, std::int64_t useMode) {
  const auto* const found = find(key);
  if (!found) return useMode == 3 ? std::nullopt : slotKind(key);
  const bool belongs = useMode == 3 ? found->reduced.has_value() : found->inFull;
  return belongs ? std::optional(found->kind) : std::nullopt;
}

bool isOf(Kind kind, const boost::json::value& value) noexcept {
  const bool whole = value.is_int64() || value.is_uint64();
  switch (kind) {
    case Kind::text:
      return value.is_string();
    case Kind::yesNo:
      return value == "Y" || value == "N";
    case Kind::whole:
      return whole;
    case Kind::real:
      return value.is_double();
    case Kind::boolean:
      return value.is_bool();
    case Kind::object:
      return value.is_object();
    case Kind::textOrNumber:
      return value.is_string() || value.is_number();
  }
  return false;
}

std::string_view name(Kind kind) noexcept {
  switch (kind) {
    case Kind::text:
      return "a string";
    case Kind::yesNo:
      return "Y or N";
    case Kind::whole:
      return "a whole number";
    case Kind::real:
      return "a number with a fraction";
    case Kind::boolean:
      return "true or false";
    case Kind::object:
      return "an object";
    case Kind::textOrNumber:
      return "a string or a number";
  }
  return "";
}

}  // namespace zul::collector
