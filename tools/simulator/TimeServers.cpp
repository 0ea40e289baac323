#include "TimeServers.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <iterator>
#include <string_view>

#include "Arguments.h"
#include "NHNetworkClock.h"

namespace zul::simulator {

namespace {

using Value = boost::json::value;
using Placed = test::SimulatedPhone::PlacedTimeServer;

/// One description of servers, while it is read.
struct Description {
  Placed server;
  int count = 1;
};

double readSeconds(const Value& value, bool negative) {
  std::string_view text = value.is_string() ? std::string_view(value.get_string()) : "";
  const bool minus = negative && text.starts_with('-');
  if (minus) text.remove_prefix(1);
  const auto seconds = parseDuration(text);
  if (!seconds)
    throw CommandError(negative ? "must be a text like \"2m\" or \"-90s\"" : "must be a text like \"20ms\"");
  return minus ? -*seconds : *seconds;
}

double readNumber(const Value& value, double most) {
  const double number = value.is_number() ? value.to_number<double>() : -1;
  if (!(number >= 0 && number <= most)) throw CommandError(fmt::format("must be a number from 0 to {}", most));
  return number;
}

int readCount(const Value& value, std::int64_t most) {
  if (!value.is_int64() || value.get_int64() < 0 || value.get_int64() > most) {
    throw CommandError(fmt::format("must be a whole number from 0 to {}", most));
  }
  return static_cast<int>(value.get_int64());
}

struct Entry {
  std::string_view name;
  std::string_view meaning;
  void (*set)(Description&, const Value&);
};

constexpr Entry kEntries[] = {
    {"offset", "how far its clock is ahead of the device's at this moment: a text like 2m or -90s",
     [](Description& d, const Value& value) { d.server.ahead = readSeconds(value, true); }},
    {"delay", "that a datagram takes, each way: a text like 20ms",
     [](Description& d, const Value& value) { d.server.path.there = d.server.path.back = readSeconds(value, false); }},
    {"delayBack", "that an answer takes, where it is another: a text like 20ms",
     [](Description& d, const Value& value) { d.server.path.back = readSeconds(value, false); }},
    {"jitter", "by which a datagram may take longer: a text like 20ms",
     [](Description& d, const Value& value) { d.server.path.jitter = readSeconds(value, false); }},
    {"loss", "share of the datagrams, each way: a number from 0 to 1",
     [](Description& d, const Value& value) { d.server.path.loss = readNumber(value, 1); }},
    {"duplicate", "share of the answers that come twice: a number from 0 to 1",
     [](Description& d, const Value& value) { d.server.path.duplicate = readNumber(value, 1); }},
    {"dispersion", "by which its clock may be wrong, milliseconds: a number",
     [](Description& d, const Value& value) { d.server.server.dispersion = readNumber(value, 65535'000); }},
    {"stratum", "how far it is from a reference: a whole number; 0: it asks to be left alone",
     [](Description& d, const Value& value) { d.server.server.stratum = readCount(value, 255); }},
    {"lying", "by which each of its answers is wrong, one ahead and the next behind: a text like 5m",
     [](Description& d, const Value& value) { d.server.server.lying = readSeconds(value, false); }},
    {"stepping", "by which its clock jumps ahead every ten minutes: a text like 10s",
     [](Description& d, const Value& value) { d.server.server.stepping = readSeconds(value, true); }},
    {"count", "how many such servers there are: a whole number",
     [](Description& d, const Value& value) { d.count = readCount(value, 200); }},
};

Description readDescription(const boost::json::object& form) {
  Description description;
  for (const auto& [key, value] : form) {
    const std::string_view name = key;
    const auto* const entry =
        std::find_if(std::begin(kEntries), std::end(kEntries), [&](const Entry& known) { return known.name == name; });
    if (entry == std::end(kEntries)) throw CommandError(fmt::format("a time server has no {}; see help ntp", name));
    try {
      entry->set(description, value);
    } catch (const CommandError& error) {
      throw CommandError(fmt::format("{} {}", name, error.what()));
    }
  }
  return description;
}

// To the microsecond, which is what time servers tell.
Value number(double value) {
  return std::isfinite(value) ? Value(std::round(value * 1e6) / 1e6) : Value();
}

boost::json::object associationView(const NHNetAssociation& association) {
  const auto fields = association.fields();
  boost::json::array fifo;
  for (const double offset : fields.fifo) {
    if (!std::isnan(offset)) fifo.emplace_back(number(offset));
  }
  return {{"server", association.server()},
          {"description", association.description()},
          {"active", fields.active},
          {"trusty", fields.trusty},
          {"offset", number(fields.offset)},
          {"roundtrip", number(fields.roundtrip)},
          {"dispersion", number(fields.dispersion)},
          {"stratum", fields.stratum},
          {"pollingIntervalIndex", fields.pollingIntervalIndex},
          {"fifo", std::move(fifo)}};
}

}  // namespace

std::vector<Placed> readTimeServers(const Value& form) {
  boost::json::array list;
  if (form.is_object()) {
    list.push_back(form);
  } else if (form.is_array()) {
    list = form.get_array();
  } else {
    throw CommandError("the time servers must be a JSON object, or an array of such");
  }
  std::vector<Placed> servers;
  for (const auto& element : list) {
    if (!element.is_object()) throw CommandError("a time server must be a JSON object");
    const auto description = readDescription(element.get_object());
    for (int n = 0; n < description.count; ++n) {
      auto& server = servers.emplace_back(description.server);
      server.address = fmt::format("192.0.2.{}", servers.size());
    }
    if (servers.size() > 250) throw CommandError("there may be 250 time servers at most");
  }
  return servers;
}

boost::json::object timeServersHelp() {
  boost::json::object help;
  for (const auto& entry : kEntries) help[entry.name] = entry.meaning;
  return help;
}

boost::json::object networkClockView(NHNetworkClock& clock) {
  boost::json::array associations;
  for (const auto& association : clock.timeAssociations()) associations.push_back(associationView(*association));
  return {{"isSynchronized", clock.isSynchronized()},
          {"networkOffset", number(clock.networkOffset())},
          {"timeAssociations", std::move(associations)}};
}

}  // namespace zul::simulator
