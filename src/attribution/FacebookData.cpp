#include "FacebookData.h"

#include <boost/json/object.hpp>
#include <optional>

#include "Json.h"
#include "PercentCoding.h"
#include "Utf8.h"

namespace zul {

namespace {

std::string decoded(std::string_view text) {
  auto result = percentDecode(text);
  return result && isUtf8(*result) ? *std::move(result) : std::string();
}

std::string_view queryOf(std::string_view url) {
  const auto begin = url.find('?');
  if (begin == url.npos) return {};
  const auto query = url.substr(begin + 1);
  return query.substr(0, query.find('#'));
}

// A value with a "=" of its own does not count.
std::string_view valueOf(std::string_view piece) {
  const auto sign = piece.find('=');
  if (sign == piece.npos) return {};
  const auto value = piece.substr(sign + 1);
  return value.find('=') == value.npos ? value : std::string_view();
}

}  // namespace

std::vector<std::string> facebookReferrers(std::string_view url, double now,
                                           const std::function<void(const std::string&)>& problem) {
  std::vector<std::string> referrers;
  std::string clickTime;
  auto query = queryOf(url);
  while (!query.empty()) {
    const auto end = query.find('&');
    const auto piece = query.substr(0, end);
    query.remove_prefix(end == query.npos ? query.size() : end + 1);

    const auto key = decoded(piece.substr(0, piece.find('=')));
    if (key == "fb_click_time_utc") {
      clickTime = decoded(valueOf(piece));  // for the data behind it alone: that is the contract
    } else if (key == "al_applink_data") {
      const auto data = json::parseObject(decoded(valueOf(piece)));
      if (!data) problem("\"al_applink_data\": this is no JSON object");
      const auto target = data ? json::string(*data, "target_url") : std::nullopt;
      if (!target) continue;
      // In the unit in which it came.
      referrers.push_back(*target +
                          "&_qzclkTime=" + (clickTime.empty() ? std::to_string(json::truncate(now)) : clickTime));
    }
  }
  return referrers;
}

}  // namespace zul
