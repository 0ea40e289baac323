#include "AttributionResult.h"

#include <boost/json/array.hpp>
#include <boost/json/object.hpp>
#include <optional>

#include "DeferredLinkManager.h"
#include "Json.h"
#include "Keys.h"
#include "LocalDB.h"
#include "NetworkManager.h"
#include "PercentCoding.h"
#include "Utf8.h"

namespace zul {

using namespace keys;

namespace {

using Object = boost::json::object;
using Text = std::optional<std::string>;

const Object* objectAt(const Object& object, std::string_view key) {
  const auto* const value = json::find(object, key);
  return value ? value->if_object() : nullptr;
}

Text decoded(const Object& bean, std::string_view key) {
  const auto text = json::string(bean, key);
  auto result = text ? percentDecode(*text) : std::nullopt;
  return result && isUtf8(*result) ? result : std::nullopt;
}

// An id of digits is easily written as a number.
Text textOrNumber(const Object& bean, std::string_view key) {
  const auto* const value = json::find(bean, key);
  return value && (value->is_int64() || value->is_uint64()) ? json::text(*value) : json::string(bean, key);
}

// The keys of one of the result's two sides, and what it says when the collector has attributed nothing.
struct Side {
  std::string_view name, media, campaign, adid, organicMedia;
};
constexpr Side kOpen = {"open", "openMedia", "openCampaign", "openAdid", "organic"};
// Misspelt since the first release: whoever reads the result compares with it.
constexpr Side kInstall = {"install", "installMedia", "installCampaign", "installAdid", "orginic"};

const Object* beanOf(const Object& attributed, const Side& side) {
  const auto* const answer = objectAt(attributed, side.name);
  return answer ? objectAt(*answer, "bean") : nullptr;
}

void put(Object& result, std::string_view key, const Text& value) {
  if (value) result[key] = *value;
}

void putSide(Object& result, const Object* bean, const Side& side) {
  put(result, side.media, bean ? decoded(*bean, "qzsNm") : std::string(side.organicMedia));
  put(result, side.campaign, bean ? decoded(*bean, "qzcNm") : "organic");
  put(result, side.adid, bean ? textOrNumber(*bean, "adid") : "");
}

}  // namespace

Dictionary AttributionResult::getAttributedInfo() const {
  const auto document = db_.documentWithID(attribution::kDocument);
  const auto& stored = document.valueForKey(attribution::kAttributionInfo);
  return stored.is_object() ? DictionaryAccess::wrap(stored.get_object()) : Dictionary();
}

void AttributionResult::saveAttributedInfo(const Object& answer) {
  static const Object kNothing;
  const auto* const given = objectAt(answer, "attributedInfo");
  const auto& attributed = given ? *given : kNothing;
  const auto* const install = beanOf(attributed, kInstall);
  Object result;
  putSide(result, beanOf(attributed, kOpen), kOpen);
  putSide(result, install, kInstall);
  db_.update(attribution::kDocument,
             [&](MutableDocument& document) { document.setValue(result, attribution::kAttributionInfo); });
  if (auto url = install ? decoded(*install, "dfrdForIos") : std::nullopt; url && !url->empty()) {
    db_.afterCommit([this, url = *std::move(url)] { deferredLinks_.setDeferredUrl(url); });
  }
}

void AttributionResult::selfValidation(std::string_view payloads) const {
  if (!log_.wants(LogLevel::debug)) return;  // which is all that it is for
  const auto list = NetworkManager::getResponseArray(std::string(payloads));
  const auto* const payload = list && !list->empty() ? list->front().if_object() : nullptr;
  if (!payload) return;
  const auto* const wrapped = objectAt(*payload, "SESSION");
  const auto& session = wrapped ? *wrapped : *payload;
  if (json::integer(session, "ltvt") != 1 || json::string(session, "isVisitNew") != "Y") return;
  const auto campaign = json::string(session, "itc");
  const auto media = json::string(session, "its");
  if (!campaign || !media) {
    log_.debug("[Validation] Install Type: organic install", ZUL_HERE);
    return;
  }
  log_.debug("[Validation] Install Type: Non-organic install", ZUL_HERE);
  log_.debug("[Validation] Campaign : " + *campaign, ZUL_HERE);
  log_.debug("[Validation] Media : " + *media, ZUL_HERE);
}

}  // namespace zul
