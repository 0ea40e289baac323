#include "Views.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <iterator>
#include <utility>

#include "Arguments.h"
#include "Contract.h"
#include "Json.h"
#include "SimulatedPlatform.h"
#include "zul/Deployment.h"

namespace zul::simulator {

namespace {

// The path and query of a URL, below the base URL where it begins with that.
std::string target(std::string_view url, std::string_view baseUrl) {
  if (url.starts_with(baseUrl)) return std::string(url.substr(baseUrl.size()));
  const auto host = url.find("://");
  const auto path = host == url.npos ? url.npos : url.find('/', host + 3);
  return std::string(url.substr(std::min(path, url.size())));
}

// The attributes of a keychain item, as they are called here.
using platform::Keychain;
constexpr std::pair<std::string_view, std::string_view> kAttributes[] = {
    {"account", Keychain::kSecAttrAccount},
    {"label", Keychain::kSecAttrLabel},
    {"description", Keychain::kSecAttrDescription},
    {"value", Keychain::kSecValueData},
};

}  // namespace

boost::json::object keychainView(const platform::SimulatedKeychain& keychain) {
  boost::json::object view;
  for (const auto& [identifier, item] : keychain.items()) {
    boost::json::object attributes;
    for (const auto& [name, attribute] : kAttributes) {
      const auto found = item.find(attribute);
      attributes[name] = found == item.end() ? "" : found->second;
    }
    view[identifier] = std::move(attributes);
  }
  return view;
}

Keychain::Dictionary readKeychainItem(const boost::json::object& item) {
  Keychain::Dictionary read;
  for (const auto& [name, attribute] : kAttributes) read.emplace(attribute, "");
  for (const auto& [key, value] : item) {
    const std::string_view wanted = key;
    const auto* const known = std::find_if(std::begin(kAttributes), std::end(kAttributes),
                                           [&](const auto& one) { return one.first == wanted; });
    if (known == std::end(kAttributes) || !value.is_string()) {
      throw CommandError("an item has the texts account, label, description and value");
    }
    read[std::string(known->second)] = std::string(value.get_string());
  }
  return read;
}

namespace {

// The attribution service is not the collector: nobody here knows what it wants.
bool isForSearchAds(const platform::HttpRequest& request, const Deployment& deployment) {
  return !deployment.searchAdsBaseUrl.empty() && request.url.starts_with(deployment.searchAdsBaseUrl);
}

}  // namespace

boost::json::object requestView(const platform::HttpRequest& request, const Deployment& deployment) {
  collector::HttpRequest arrived;
  arrived.method = request.method;
  arrived.target = target(request.url, deployment.collectorBaseUrl);
  boost::json::object headers;
  for (const auto& [name, value] : request.headers) {
    headers[name] = value;
    arrived.headers[name] = value;
  }
  arrived.body = request.body.value_or("");
  if (isForSearchAds(request, deployment)) {
    return {{"method", request.method},
            {"url", request.url},
            {"endpoint", "searchads"},
            {"headers", std::move(headers)},
            {"body", arrived.body}};
  }
  auto verdict = judge(arrived);
  boost::json::object view{{"method", request.method},
                           {"url", request.url},
                           {"endpoint", name(verdict.endpoint)},
                           {"headers", std::move(headers)},
                           {"body", json::parse(verdict.body, json::kMaxPayloadDepth + 8).value_or(nullptr)}};
  if (!verdict.problem.empty()) view["problem"] = verdict.problem;
  return view;
}

boost::json::object clockView(const platform::SimulatedClock& clock) {
  const double now = clock.now();
  const auto time = clock.civil(now);
  const int east = clock.secondsFromGmt() / 60;
  const auto text =
      fmt::format("{:04}-{:02}-{:02}T{:02}:{:02}:{:02}{}{:02}:{:02}", time.year, time.month, time.day, time.hour,
                  time.minute, time.second, east < 0 ? '-' : '+', std::abs(east) / 60, std::abs(east) % 60);
  return {{"time", text}, {"zone", clock.zone()}, {"seconds", now}};
}

boost::json::array timersView(const platform::SimulatedDispatcher& dispatcher) {
  boost::json::array timers;
  for (const auto& waiting : dispatcher.waiting()) {
    // Rounded, since a sum of seconds in doubles is seldom exact.
    const auto rounded = [](double seconds) { return std::round(seconds * 1000) / 1000; };
    boost::json::object timer{{"in", rounded(std::max(waiting.due - dispatcher.now(), 0.0))}, {"queue", waiting.queue}};
    if (waiting.every > 0) timer["every"] = rounded(waiting.every);
    if (waiting.sleeping) timer["sleeping"] = true;
    timers.push_back(std::move(timer));
  }
  return timers;
}

}  // namespace zul::simulator
