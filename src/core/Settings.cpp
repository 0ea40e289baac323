#include "Settings.h"

#include <fmt/format.h>

#include <algorithm>
#include <boost/json/object.hpp>
#include <string_view>

#include "Json.h"
#include "Keys.h"
#include "Nearest.h"

namespace zul {

namespace {

enum class Kind { integer, boolean, text };
struct Setting {
  std::string_view key;
  Kind kind;
};
constexpr Setting kSettings[] = {
    {keys::appinfo::kServiceNumber, Kind::integer},
    {keys::appinfo::kUseMode, Kind::integer},
    {keys::appinfo::kExpireDate, Kind::integer},
    {keys::appinfo::kAccessToken, Kind::text},
    {keys::appinfo::kIsDebug, Kind::boolean},
    {"ATTPopup", Kind::boolean},
    {keys::appinfo::kDomain, Kind::text},
    {keys::appinfo::kIsFingerPrint, Kind::boolean},
    {keys::appinfo::kIsInstallRetention, Kind::boolean},
};

std::string_view name(Kind kind) {
  if (kind == Kind::text) return "a string";
  return kind == Kind::integer ? "an integer" : "a boolean";
}

bool fits(Kind kind, const boost::json::value& value) {
  if (kind == Kind::text) return value.is_string();
  return value.is_number() || (kind == Kind::boolean && value.is_bool());
}

std::string hint(std::string_view unknown) {
  std::vector<std::string_view> keys;
  for (const auto& setting : kSettings) keys.push_back(setting.key);
  if (const auto meant = nearest(unknown, keys)) return fmt::format("did you mean \"{}\"?", *meant);
  std::string known;
  for (const auto key : keys) known += fmt::format("{}\"{}\"", known.empty() ? "" : ", ", key);
  return "there are " + known + ".";
}

}  // namespace

std::vector<std::string> settingsProblems(const Dictionary& zulAuthorizationKey) {
  std::vector<std::string> problems;
  if (const auto mode = zulAuthorizationKey.integer(keys::appinfo::kUseMode); mode < 1 || mode > 3) {
    problems.push_back(
        "\"useMode\" of \"zulAuthorizationKey\" is none of the integers 1, 2 and 3: payloads will be empty. " +
        zulAuthorizationKey.json());
  }
  for (const auto& member : DictionaryAccess::object(zulAuthorizationKey)) {
    const std::string_view key = member.key();
    const auto* const setting = std::find_if(std::begin(kSettings), std::end(kSettings),
                                             [&](const Setting& known) { return known.key == key; });
    if (setting == std::end(kSettings)) {
      problems.push_back(fmt::format("\"zulAuthorizationKey\" has an entry {} that means nothing here: {}",
                                     json::text(boost::json::value(key)), hint(key)));
    } else if (key != keys::appinfo::kUseMode && !fits(setting->kind, member.value())) {
      problems.push_back(fmt::format("\"{}\" of \"zulAuthorizationKey\" must be {}, and counts as absent: {}", key,
                                     name(setting->kind), json::text(member.value())));
    }
  }
  return problems;
}

}  // namespace zul
