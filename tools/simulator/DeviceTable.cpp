#include "DeviceTable.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <string_view>

#include "Arguments.h"

namespace zul::simulator {

namespace {

using Values = platform::SimulatedDevice::Values;
using Value = boost::json::value;

[[noreturn]] void refuse(std::string_view form) {
  throw CommandError(fmt::format("must be {}", form));
}

std::string readText(const Value& value) {
  if (!value.is_string()) refuse("a string");
  return std::string(value.get_string());
}
std::optional<std::string> readOptionalText(const Value& value) {
  if (value.is_null()) return std::nullopt;
  return readText(value);
}

template <auto field>
void text(Values& values, const Value& value) {
  values.*field = readText(value);
}
template <auto field>
void optionalText(Values& values, const Value& value) {
  values.*field = readOptionalText(value);
}
template <auto field>
void number(Values& values, const Value& value) {
  constexpr double kMost = 1e6;
  const double number = value.is_number() ? value.to_number<double>() : -1;
  if (!(number >= 0 && number <= kMost)) refuse("a number from 0 to 1000000");
  values.*field = number;
}
template <auto field>
void boolean(Values& values, const Value& value) {
  if (!value.is_bool()) refuse("true or false");
  values.*field = value.get_bool();
}

void languages(Values& values, const Value& value) {
  if (!value.is_array()) refuse("an array of strings");
  std::vector<std::string> tags;
  std::transform(value.get_array().begin(), value.get_array().end(), std::back_inserter(tags), readText);
  values.preferredLanguages = std::move(tags);
}

void carrier(Values& values, const Value& value) {
  if (value.is_null()) {
    values.carrier.reset();
    return;
  }
  if (!value.is_object()) refuse("an object or null");
  platform::Carrier carrier;
  for (const auto& [key, member] : value.get_object()) {
    if (key == "isoCountryCode") {
      carrier.isoCountryCode = readOptionalText(member);
    } else if (key == "name") {
      carrier.name = readOptionalText(member);
    } else {
      throw CommandError(fmt::format("has no {}; there are isoCountryCode and name", std::string_view(key)));
    }
  }
  values.carrier = std::move(carrier);
}

struct Entry {
  std::string_view name;
  std::string_view meaning;
  void (*set)(Values&, const Value&);
};

constexpr Entry kEntries[] = {
    {"systemVersion", "version of the system: a string like 17.2", text<&Values::systemVersion>},
    {"model", "hardware model: a string like iPhone14,2", text<&Values::model>},
    {"preferredLanguages", "language tags, best first: an array of strings like ko-KR", languages},
    {"countryCode", "country of the locale: a string like KR, or null", optionalText<&Values::countryCode>},
    {"carrier", "of the SIM card: an object with the strings name and isoCountryCode, or null", carrier},
    {"screenWidth", "points: a number", number<&Values::screenWidth>},
    {"screenHeight", "points: a number", number<&Values::screenHeight>},
    {"screenScale", "pixels a point: a number", number<&Values::screenScale>},
    {"vendorIdentifier", "UUID of the device for the application's vendor: a string", text<&Values::vendorIdentifier>},
    {"advertisingIdentifier", "UUID: a string, all zero for none", text<&Values::identifier>},
    {"advertisingTrackingEnabled", "whether that may be used: true or false", boolean<&Values::trackingEnabled>},
    {"ipv4Address", "of the first network interface: a string like 192.0.2.7, or null",
     optionalText<&Values::ipv4Address>},
};

}  // namespace

void changeDevice(Values& values, const boost::json::object& changes) {
  auto changed = values;
  for (const auto& [key, value] : changes) {
    const std::string_view name = key;
    const auto* entry =
        std::find_if(std::begin(kEntries), std::end(kEntries), [&](const Entry& known) { return known.name == name; });
    if (entry == std::end(kEntries)) throw CommandError(fmt::format("the device has no {}; see help device", name));
    try {
      entry->set(changed, value);
    } catch (const CommandError& error) {
      throw CommandError(fmt::format("{} {}", name, error.what()));
    }
  }
  values = std::move(changed);
}

boost::json::object deviceHelp() {
  boost::json::object help;
  for (const auto& entry : kEntries) help[entry.name] = entry.meaning;
  return help;
}

}  // namespace zul::simulator
