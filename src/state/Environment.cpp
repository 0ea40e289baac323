#include "Environment.h"

#include <fmt/core.h>

#include <algorithm>

#include "Json.h"
#include "ZULReachability.h"
#include "zul/platform/Bundle.h"
#include "zul/platform/Clock.h"
#include "zul/platform/Device.h"

namespace zul {

namespace {

std::string upperCase(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c; });
  return text;
}

}  // namespace

Environment::Environment(const Sources& sources) : sources_(sources), device_(sources.device->read()) {}

std::string Environment::getLng() const {
  if (device_->preferredLanguages.empty()) return {};
  const auto& tag = device_->preferredLanguages.front();
  return upperCase(tag.substr(0, tag.find('-')));
}

std::optional<std::string> Environment::getCntr() const {
  const auto& carrier = device_->carrier;
  const auto& code = carrier && carrier->isoCountryCode ? carrier->isoCountryCode : device_->countryCode;
  return code ? std::optional(upperCase(*code)) : std::nullopt;
}

std::string Environment::getTz() const {
  return std::to_string(sources_.clock->secondsFromGmt() / 3600);
}
std::string Environment::getOs() const {
  return "iOS " + device_->systemVersion;
}
std::string Environment::getOsvr() const {
  return device_->systemVersion;
}
std::string Environment::getSr() const {
  return fmt::format("{}*{}/{:.1f}", json::truncate(device_->screenWidth), json::truncate(device_->screenHeight),
                     static_cast<float>(device_->screenScale));
}
std::string Environment::getPhone() const {
  return device_->model;
}
std::optional<std::string> Environment::getApVr() const {
  return sources_.bundle->infoDictionary().string("CFBundleShortVersionString");
}
std::optional<std::string> Environment::getCari() const {
  return device_->carrier ? device_->carrier->name : std::optional<std::string>("ios");
}

std::optional<std::string> Environment::getAdvertisingId() const {
  if (device_->advertisingIdentifier == "00000000-0000-0000-0000-000000000000") return std::nullopt;
  return device_->advertisingIdentifier;
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
