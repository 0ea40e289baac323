#include "InAppMessages.h"

#include <boost/json/object.hpp>
#include <cstdint>
#include <set>
#include <string>

#include "Json.h"
#include "Keys.h"
#include "LocalDB.h"
#include "Saturating.h"
#include "SessionRecord.h"
#include "ZULUtil.h"

namespace zul {

using namespace keys;

namespace {

using boost::json::array;
using boost::json::object;

std::int64_t unit(std::string_view dateType) {
  constexpr std::int64_t kDay = 86400000;  // ms
  if (dateType == "D") return kDay;
  if (dateType == "W") return 7 * kDay;
  if (dateType == "M") return 30 * kDay;  // whatever the calendar says
  return 0;
}

bool isOver(const object& message, std::int64_t now) {
  const auto window = saturatedProduct(json::integer(message, inapp::kFrequencyLimitDay),
                                       unit(json::string(message, inapp::kDateType).value_or("")));
  return saturatedSum(json::integer(message, inapp::kViewTime), window) < now ||
         json::integer(message, inapp::kEnd) < now;
}

array storedMessages(const Document& document) {
  array messages;
  const auto& stored = document.valueForKey(inapp::kReceivedInAppMessageList);
  if (!stored.is_array()) return messages;
  for (const auto& message : stored.get_array()) {
    if (message.is_object()) messages.push_back(message);
  }
  return messages;
}

// A message without a key is never dropped: there is nothing to know it by.
array withoutThoseOver(const array& messages, std::int64_t now) {
  std::set<std::string> over;
  for (const auto& message : messages) {
    auto mk = json::string(message.get_object(), inapp::kMk);
    if (mk && isOver(message.get_object(), now)) over.insert(std::move(*mk));
  }
  array left;
  for (const auto& message : messages) {
    const auto mk = json::string(message.get_object(), inapp::kMk);
    if (!mk || !over.contains(*mk)) left.push_back(message);
  }
  return left;
}

// The contract: no separator behind what is empty so far, so that a leading "" is swallowed, and "(null)" for a message
// without a key that follows another.
std::string joinedKeys(const array& messages) {
  std::string joined;
  for (const auto& message : messages) {
    const auto mk = json::string(message.get_object(), inapp::kMk);
    joined += joined.empty() ? mk.value_or("") : "|" + mk.value_or("(null)");
  }
  return joined;
}

}  // namespace

void InAppMessages::setReceivedInAppMessageList(const array& messages) {
  db_.whenReadable([this, messages] {
    db_.update(inapp::kDocument,
               [&](MutableDocument& document) { document.setValue(messages, inapp::kReceivedInAppMessageList); });
  });
}

array InAppMessages::receivedInAppMessageList() const {
  return storedMessages(db_.documentWithID(inapp::kDocument));
}

void InAppMessages::checkInAppMessageValidation() {
  db_.whenReadable([this] {
    db_.transaction([this] {
      const auto stored = db_.documentWithID(inapp::kDocument);
      if (!stored.exists()) return;
      const auto messages = storedMessages(stored);
      const auto left = withoutThoseOver(messages, json::truncate(util_.currentTimeSecMulti1000()));
      db_.update(inapp::kDocument, [&](MutableDocument& document) {
        document.setValue(left, inapp::kReceivedInAppMessageList);
        document.setString(joinedKeys(left), inapp::kAlreadySeenCampaignId);
      });
      checkToResetInAppMessage();
      db_.afterCommit([this, before = json::text(messages), after = json::text(left)] {
        const std::string check = " check receivedInAppMessageList in checkInAppMessageValidation: ";
        log_.debug("before" + check + before, ZUL_HERE);
        log_.debug("after" + check + after, ZUL_HERE);
      });
    });
    record_.showDocument(inapp::kDocument);
  });
}

void InAppMessages::checkToResetInAppMessage() {
  db_.whenReadable([this] {
    db_.transaction([this] {
      const auto expiry = db_.documentWithID(inapp::kDocument).numberForKey(inapp::kInamExpireTime);
      if (expiry && util_.currentTimeSecMulti1000() > *expiry) resetInAppMessage();
    });
  });
}

void InAppMessages::resetInAppMessage() {
  db_.whenReadable([this] {
    db_.updateExisting(inapp::kDocument, [](MutableDocument& document) {
      document.setString("", inapp::kInamId);
      document.setInteger(0, inapp::kInamClkTime);
      document.setInteger(0, inapp::kInamExpireTime);
    });
    record_.showDocument(inapp::kDocument);
  });
}

}  // namespace zul
