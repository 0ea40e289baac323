#include "InternalCampaigns.h"

#include <cstddef>
#include <iterator>

#include "Json.h"
#include "Keys.h"
#include "LocalDB.h"
#include "Saturating.h"
#include "SessionRecord.h"
#include "ZULUtil.h"

namespace zul {

using namespace keys;

namespace {

constexpr std::int64_t kMillisecondsADay = 86400000;

/// By their numbers, 1 to 10.
struct Slot {
  int keptIn;  // under whose keys it is stored, and so by whose period and time it expires
  int clears;  // what is cleared when it has expired
};
constexpr Slot kSlots[] = {
    {1, 1},
    {2, 2},
    {2, 3},  // the contract: slot 3 is kept under the keys of slot 2, and its own are only ever
             // cleared
    {4, 4},
    {5, 5},
    {6, 6},
    {7, 7},
    {8, 2},  // the contract: slot 8 clears slot 2 when it has expired, at every start from then on, and never itself
    {9, 9},
    {10, 10},
};
static_assert(std::size(kSlots) == std::size(campaign::kInrc));

struct SlotKeys {
  explicit SlotKeys(int slot) : index(static_cast<std::size_t>(slot - 1)) {}
  const std::size_t index;
  std::string_view inrc = campaign::kInrc[index];
  std::string_view inrcTime = campaign::kInrcTime[index];
  std::string_view inrcDt = campaign::kInrcDt[index];
};

}  // namespace

void InternalCampaigns::setInternalCampaign(const InternalCampaign& campaign) {
  const auto now = json::truncate(util_.currentTimeSecMulti1000());
  db_.whenReadable([this, campaign, now] {
    bool any = false;
    const auto forEachSet = [&](const auto& use) {
      for (std::size_t i = 0; i < campaign.slots.size(); ++i) {
        const auto& given = campaign.slots[i];
        if (given.inrc.value_or("").empty()) continue;
        any = true;
        use(i, given);
      }
    };
    db_.update(campaign::kDocument, [&](MutableDocument& document) {
      forEachSet([&](std::size_t i, const InternalCampaign::Slot& given) {
        const SlotKeys keys(kSlots[i].keptIn);
        document.setString(given.inrc, keys.inrc);
        document.setInteger(now, keys.inrcTime);
        document.setInteger(given.inrcDt, keys.inrcDt);
      });
    });
    if (!any) return;
    record_.edit([&](SessionJson& record) {
      forEachSet([&](std::size_t i, const InternalCampaign::Slot& given) {
        record.inrc[i] = {given.inrc, now, given.inrcDt};
      });
    });
  });
}

void InternalCampaigns::checkToResetInternalCampaign() {
  db_.whenReadable([this] {
    db_.transaction([this] {
      const auto document = db_.documentWithID(campaign::kDocument);  // as it was before the first is cleared
      const double now = util_.currentTimeSecMulti1000();
      for (const auto& slot : kSlots) {
        const SlotKeys keys(slot.keptIn);
        if (!document.numberForKey(keys.inrcDt)) continue;
        const auto period = saturatedProduct(document.integerForKey(keys.inrcDt), kMillisecondsADay);
        const auto end = saturatedSum(document.integerForKey(keys.inrcTime), period);
        if (now > static_cast<double>(end)) resetInternalCampaign(slot.clears);
      }
    });
  });
}

void InternalCampaigns::resetInternalCampaign(int slot) {
  if (slot < 1 || slot > static_cast<int>(std::size(kSlots))) return;
  db_.whenReadable([this, slot] {
    db_.updateExisting(campaign::kDocument, [slot](MutableDocument& document) {
      const SlotKeys keys(slot);
      document.setString("", keys.inrc);
      document.setInteger(0, keys.inrcTime);
      document.setInteger(0, keys.inrcDt);
    });
  });
}

}  // namespace zul
