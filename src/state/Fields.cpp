#include "Fields.h"

#include <algorithm>
#include <array>
#include <iterator>

#include "FieldTable.h"

namespace zul {

namespace {

// Without the texts.
constexpr auto kFields = [] {
  std::array<Field, std::size(fieldtable::kRows)> fields{};
  std::transform(std::begin(fieldtable::kRows), std::end(fieldtable::kRows), fields.begin(),
                 [](const fieldtable::Row& row) { return row.field; });
  return fields;
}();

// The payloads' keys in their order, separated by blanks.
constexpr std::string_view kFullKeys =
    "sdk_version useMode installTime mbr sx ag mbl mbid ut1 ut2 ut3 ut4 ut5 isLogin loginTp signupTp cntr "
    "lng tz os osvr sr phone apVr cari isWifi plat dSource inch buildMode aidChange pkg appId advtId uuid "
    "vendorId advtFlag uptAfV keychainUUID sid isVisitNew isDf isWf isMf isWfUs udVt ltvt ltVi udRvnc "
    "ltRvnc csRvnVs ltrvni lastOrdNo firstOrd ltRvnVt ltrvn isSFail pageKey qzs qzm qzc qzw qzp qzaffid "
    "qzbffid qzclkTime qzref isDrUpdate openDl latestGcmpid its itm itc itw itp itaffid itbffid itclkTime "
    "installReferrer isIrUpdate pushtk pushNo pushCkTime pushPeriod pushTitle saveToken pushExpiredTime "
    "_qzhst _qzno _qzUdays _qzDebug _qzUseRetention _qzUseFingerPrint _accessToken vtTz sarInfo AAATk "
    "AAATktime inrc1 inrcTime1 inrcDt1 inrc2 inrcTime2 inrcDt2 inrc3 inrcTime3 inrcDt3 inrc4 inrcTime4 "
    "inrcDt4 inrc5 inrcTime5 inrcDt5 inrc6 inrcTime6 inrcDt6 inrc7 inrcTime7 inrcDt7 inrc8 inrcTime8 "
    "inrcDt8 inrc9 inrcTime9 inrcDt9 inrc10 inrcTime10 inrcDt10 alreadySeenCampaignId inamId inamClkTime "
    "inamExpireTime latestSkAdCurValue clientUserAgent";
constexpr std::string_view kReducedKeys =
    "sdk_version isVisitNew useMode _accessToken _qzhst _qzno _qzDebug lng cntr tz os osvr sr phone gps "
    "cari isWifi plat buildMode aidChange advtFlag dSource apVr appId advtId vendorId uuid sid qzs qzm "
    "qzc qzw qzref installTime pushNo";

constexpr std::size_t countOf(std::string_view keys) {
  return 1 + static_cast<std::size_t>(std::count(keys.begin(), keys.end(), ' '));
}

// Spelling a key that is in no field does not compile: a throw is no constant expression.
template <std::size_t count>
consteval std::array<std::uint8_t, count> listed(std::string_view keys) {
  static_assert(kFields.size() < 256);
  std::array<std::uint8_t, count> list{};
  for (auto& index : list) {
    const auto key = keys.substr(0, keys.find(' '));
    keys.remove_prefix(std::min(key.size() + 1, keys.size()));
    while (index < kFields.size() && kFields[index].payloadKey() != key) ++index;
    if (index == kFields.size()) throw key;
  }
  return list;
}
constexpr auto kFull = listed<countOf(kFullKeys)>(kFullKeys);
constexpr auto kReduced = listed<countOf(kReducedKeys)>(kReducedKeys);

}  // namespace

std::span<const Field> fields() {
  return kFields;
}

std::span<const std::uint8_t> payloadFields(std::int64_t useMode) {
  if (useMode == 1 || useMode == 2) return kFull;
  if (useMode == 3) return kReduced;
  return {};
}

const Field& fieldOf(const Member& member) {
  return *std::find_if(kFields.begin(), kFields.end(), [&](const Field& field) { return field.member == member; });
}

}  // namespace zul
