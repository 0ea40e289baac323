#include "Settings.h"

#include <fmt/format.h>

#include <algorithm>
#include <boost/json/object.hpp>
#include <numeric>
#include <string_view>

#include "Json.h"
#include "Keys.h"

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

char lower(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

// How many letters have to be added, removed or changed to make the one text the other, whatever their case.
std::size_t distance(std::string_view a, std::string_view b) {
  std::vector<std::size_t> row(b.size() + 1);
  std::iota(row.begin(), row.end(), 0U);
  for (std::size_t i = 0; i < a.size(); ++i) {
    std::size_t diagonal = row[0]++;
    for (std::size_t j = 0; j < b.size(); ++j) {
      const auto changed = diagonal + (lower(a[i]) == lower(b[j]) ? 0 : 1);
      diagonal = row[j + 1];
      row[j + 1] = std::min({changed, diagonal + 1, row[j] + 1});
    }
  }
  return row.back();
}

std::string hint(std::string_view unknown) {
  constexpr std::size_t kLongestKey = 64;  // a longer text is no misspelling
  const Setting* nearest = nullptr;
  std::size_t least = unknown.size() > kLongestKey ? 0 : std::max<std::size_t>(3, unknown.size() / 2);
  for (const auto& setting : kSettings) {
    if (least == 0) break;
    if (const auto far = distance(unknown, setting.key); far < least) {
      least = far;
      nearest = &setting;
    }
  }
  if (nearest) return fmt::format("did you mean \"{}\"?", nearest->key);
  std::string known;
  for (const auto& setting : kSettings) known += fmt::format("{}\"{}\"", known.empty() ? "" : ", ", setting.key);
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
