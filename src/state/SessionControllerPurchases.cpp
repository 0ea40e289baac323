#include <optional>
#include <string_view>

#include "IntegerValue.h"
#include "Json.h"
#include "Keys.h"
#include "LocalDB.h"
#include "Saturating.h"
#include "SessionController.h"
#include "SessionRecord.h"
#include "ZULUtil.h"

namespace zul {

namespace {

using namespace keys;
using boost::json::object;

// A number, or a text that begins with one; hosts take amounts from where they are texts. None of any other kind.
std::optional<std::int64_t> amount(const object& product, std::string_view key) {
  const auto* const value = json::find(product, key);
  if (value && value->is_number()) return json::integer(*value);
  if (!value || !value->is_string()) return std::nullopt;
  const std::string_view text = value->get_string();
  const auto digits = text.find_first_not_of(" \t\n\v\f\r+-");
  if (digits == text.npos || text[digits] < '0' || text[digits] > '9') return std::nullopt;
  return integerValue(text);
}

std::int64_t revenue(const boost::json::value& product) {
  if (!product.is_object()) return 0;
  const auto& members = product.get_object();
  if (const auto given = amount(members, "revenue")) return *given;
  return amount(members, "amt").value_or(0);
}

}  // namespace

template <auto member>
void SessionController::account(LocalDB::Edit edit) {
  db_.whenReadable([this, edit = std::move(edit)] {
    db_.updateExisting(behavior::kDocument, edit);
    record_.show<member>();
  });
}

void SessionController::updateUdRvnc() {
  account<&SessionJson::udRvnc>(
      [](MutableDocument& document) { increment(document, behavior::kUserCriteriaPurchase); });
}

void SessionController::checkToResetUdRvnc() {
  const auto periodDays =
      db_.documentWithID(appinfo::kDocument).integerForKey(appinfo::kExpireDate);  // the record's _qzUdays
  db_.updateExisting(behavior::kDocument, [&](MutableDocument& document) {
    auto count = document.integerForKey(behavior::kUserCriteriaPurchase);
    if (const auto last = document.numberForKey(behavior::kLastPurchaseTimeSec)) {
      if (periodDays <= ZULUtil::days(*last, util_.currentTimeSec())) count = 0;
    }
    document.setInteger(count, behavior::kUserCriteriaPurchase);
  });
  record_.show<&SessionJson::udRvnc>();
}

void SessionController::updateLtRvnc() {
  account<&SessionJson::ltRvnc>(
      [](MutableDocument& document) { increment(document, behavior::kLifeCriteriaPurchase); });
}

// A record that is made later would begin it at 0.
void SessionController::updateCsRvnVsWithRevenueJsonVtTz(double vtTz) {
  db_.whenReadable([this] { db_.afterCommit([this] { record_.sharedInstance(); }); });
  account<&SessionJson::csRvnVs>([vtTz](MutableDocument& document) {
    const double begin = document.numberForKey(behavior::kRecentSessionTimeSec).value_or(0);
    document.setInteger(json::truncate(vtTz / 1000 - begin), behavior::kSpendingTimeToPurchase);
  });
}

void SessionController::updateLtrvni() {
  account<&SessionJson::ltrvni>([this](MutableDocument& document) {
    const double last = document.numberForKey(behavior::kLastPurchaseTimeSec).value_or(0);
    const auto gap = ZULUtil::days(last, util_.currentTimeSec());
    document.setInteger(last != 0 ? saturatedSum(document.integerForKey(behavior::kLifePurchaseInterval), gap) : 0,
                        behavior::kLifePurchaseInterval);
  });
}

void SessionController::updateLtrvnWithRevenuJsonProducts(const boost::json::value& products) {
  std::int64_t total = 0;
  if (products.is_array()) {
    for (const auto& product : products.get_array()) total = saturatedSum(total, revenue(product));
  } else {
    total = revenue(products);
  }
  account<&SessionJson::ltrvn>([total](MutableDocument& document) {
    document.setInteger(saturatedSum(document.integerForKey(behavior::kLifePurchaseAmount), total),
                        behavior::kLifePurchaseAmount);
  });
}

void SessionController::updateLastOrderNoWithOrderNo(const std::string& orderNo) {
  account<&SessionJson::lastOrderNo>(
      [orderNo](MutableDocument& document) { document.setString(orderNo, behavior::kLastPurchaseNo); });
}

void SessionController::updateFirstOrd() {
  account<&SessionJson::firstOrd>([](MutableDocument& document) {
    const bool first = document.stringForKey(behavior::kLastPurchaseNo).value_or("").empty();
    document.setString(first ? "Y" : "N", behavior::kIsFirstPurchase);
  });
}

void SessionController::resetFirstOrd() {
  account<&SessionJson::firstOrd>(
      [](MutableDocument& document) { document.setString("N", behavior::kIsFirstPurchase); });
}

void SessionController::updateLtRvnVt() {
  db_.updateExisting(behavior::kDocument,
                     [](MutableDocument& document) { increment(document, behavior::kSpendingVisitToPurchase); });
}

// The record shows 0 until it is made anew: then a stored 0 reads as 1.
void SessionController::resetLtRvnVt() {
  db_.whenReadable([this] {
    db_.updateExisting(behavior::kDocument,
                       [](MutableDocument& document) { document.setInteger(0, behavior::kSpendingVisitToPurchase); });
    db_.afterCommit([this] { record_.edit([](SessionJson& record) { record.ltRvnVt = 0; }); });
  });
}

}  // namespace zul
