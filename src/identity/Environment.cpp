#include "Environment.h"

#include <fmt/core.h>

#include <algorithm>
#include <cmath>

#include "Json.h"
#include "Keys.h"
#include "LocalDB.h"
#include "ZULReachability.h"
#include "zul/platform/Bundle.h"
#include "zul/platform/Clock.h"

namespace zul {

namespace {

constexpr const char* kNotPermitted = "ANP";

std::string upperCase(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c; });
  return text;
}

}  // namespace

Environment::Environment(const Sources& sources)
    : sources_(sources),
      ATTAuthStatus_(storedStatus(*sources.db)),
      system_(sources.device->system()),
      place_(ATTAuthStatus_ == kAuthorized ? std::optional(sources.device->place()) : std::nullopt) {}

std::int64_t Environment::storedStatus(LocalDB& db) {
  return db.documentWithID(keys::attstatus::kDocument).integerForKey(keys::attstatus::kAttAuthStatus);
}

std::optional<std::string> Environment::getLng() const {
  if (!place_) return kNotPermitted;
  if (place_->preferredLanguages.empty()) return std::nullopt;
  const auto& tag = place_->preferredLanguages.front();
  return upperCase(tag.substr(0, tag.find('-')));
}

std::optional<std::string> Environment::getCntr() const {
  if (!place_) return kNotPermitted;
  const auto& carrier = place_->carrier;
  const auto& code = carrier && carrier->isoCountryCode ? carrier->isoCountryCode : place_->countryCode;
  return code ? std::optional(upperCase(*code)) : std::nullopt;
}

std::string Environment::getTz() const {
  return place_ ? std::to_string(sources_.clock->secondsFromGmt() / 3600) : kNotPermitted;
}
std::string Environment::getOs() const {
  return "iOS " + system_.systemVersion;
}
std::string Environment::getOsvr() const {
  return system_.systemVersion;
}
std::string Environment::getSr() const {
  if (!place_) return kNotPermitted;
  const auto known = [](double value) { return std::isfinite(value) ? value : 0; };
  return fmt::format("{}*{}/{:.1f}", json::truncate(known(place_->screenWidth)),
                     json::truncate(known(place_->screenHeight)), static_cast<float>(known(place_->screenScale)));
}
std::string Environment::getPhone() const {
  return place_ ? place_->model : kNotPermitted;
}
std::optional<std::string> Environment::getApVr() const {
  return sources_.bundle->infoDictionary().string("CFBundleShortVersionString");
}
std::optional<std::string> Environment::getCari() const {
  if (!place_) return kNotPermitted;
  return place_->carrier ? place_->carrier->name : std::optional<std::string>("ios");
}

Sender Environment::sender() const {
  const auto appInfo = sources_.db->documentWithID(keys::appinfo::kDocument);
  return {getPhone(), getOs(), appInfo.stringForKey(keys::appinfo::kAccessToken)};
}

double Environment::getInch(std::string& error) const {
  constexpr double kUsual = 3.5;
  if (!place_) return 0;
  const auto map = sources_.bundle->propertyList("DeviceDisplayMap", &error);
  const double inches = json::number(DictionaryAccess::object(map.dictionary(place_->model)), "size").value_or(kUsual);
  return std::isfinite(inches) ? inches : kUsual;
}

std::int64_t Environment::getIsWifi() const {
  switch (sources_.reachability->isConnectedToNetworkOfType()) {
    case 0:
      return 1;
    case 1:
      return 2;
    default:
      return 0;
  }
}

}  // namespace zul
