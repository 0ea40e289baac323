#include "Inspection.h"

#include <fmt/format.h>

#include <algorithm>
#include <boost/json.hpp>
#include <charconv>
#include <stdexcept>
#include <utility>
#include <vector>

#include "Json.h"
#include "PercentCoding.h"
#include "SessionCheck.h"
#include "SessionHistory.h"

namespace zul::collector {

namespace {

std::uint64_t number(std::string_view key, std::string_view text) {
  std::uint64_t value = 0;
  const auto* end = text.data() + text.size();
  const auto [at, error] = std::from_chars(text.data(), end, value);
  if (error != std::errc{} || at != end) throw std::invalid_argument(fmt::format("{} is not a whole number", key));
  return value;
}

using Texts = std::vector<std::string_view>;

/// Calls `take` with each key of a query and its value.
template <typename Take>
void forEach(std::string_view query, const Take& take) {
  while (!query.empty()) {
    const auto piece = query.substr(0, query.find('&'));
    query.remove_prefix(std::min(piece.size() + 1, query.size()));
    const auto key = piece.substr(0, piece.find('='));
    const auto value = percentDecode(piece.substr(std::min(key.size() + 1, piece.size())));
    if (!value) throw std::invalid_argument(fmt::format("{} is not percent-encoded", key));
    take(key, *value);
  }
}

boost::json::array members(const boost::json::object& object, std::string_view allBut = {}) {
  boost::json::array list;
  for (const auto& [key, value] : object) {
    if (allBut.empty() || key != allBut) list.push_back({key, json::text(value)});
  }
  return list;
}

/// Looks once more: the record names a complaint only for the first payload that it is true of.
boost::json::array suspicionsOf(const RecordedRequest& request, std::size_t number, const boost::json::object& payload,
                                std::string_view text) {
  Suspicions suspicions;
  checkPayload(payload, text, number, suspicions);
  for (const auto& odd : request.suspicions) {
    if (odd.payload == number) suspicions.add(number, odd.key, odd.reason);
  }
  if (number < request.payloads.size() && request.payloads[number].equalTo > 0) {
    suspicions.add(number, "SESSION", equalTo(request.payloads[number].equalTo));
  }
  boost::json::array list;
  for (const auto& odd : std::move(suspicions).take()) list.push_back({{"key", odd.key}, {"reason", odd.reason}});
  return list;
}

}  // namespace

bool Selection::matches(const RecordedRequest& request) const {
  return request.sequence > since && (device.empty() || request.device == device) &&
         (endpoint.empty() || name(request.endpoint) == endpoint) && (verdict.empty() || request.verdict() == verdict);
}

Selection readSelection(std::string_view query) {
  Selection selection;
  forEach(query, [&](std::string_view key, const std::string& value) {
    if (key == "device") {
      selection.device = value;
    } else if (key == "endpoint") {
      selection.endpoint = value;
      const bool known =
          value == name(Endpoint::unknown) || std::count(kEndpointNames.begin(), kEndpointNames.end(), value);
      if (!known) throw std::invalid_argument(fmt::format("there is no endpoint \"{}\"", value));
    } else if (key == "verdict") {
      selection.verdict = value;
      if (value != "good" && value != "suspicious" && value != "bad") {
        throw std::invalid_argument("verdict is good, suspicious or bad");
      }
    } else if (key == "since") {
      selection.since = number(key, value);
    } else if (key == "limit") {
      selection.limit = number(key, value);
    } else {
      throw std::invalid_argument(
          fmt::format("there is no filter \"{}\"; there are device, endpoint, verdict, since and limit", key));
    }
  });
  return selection;
}

Place readPlace(std::string_view query) {
  Place place;
  forEach(query, [&](std::string_view key, const std::string& value) {
    if (key == "seq") {
      place.sequence = number(key, value);
    } else if (key == "payload") {
      place.payload = number(key, value);
    } else {
      throw std::invalid_argument(fmt::format("there is no \"{}\" here; there are seq and payload", key));
    }
  });
  return place;
}

std::string inspectionOf(const RecordedRequest& request, std::optional<std::size_t> payload) {
  std::string text;
  if (!payload) {
    appendJson(text, request);
    return text;
  }
  text = R"({"request":)";
  appendJson(text, request, {});
  if (request.bodyText.empty()) return text + '}';
  const auto payloads = request.bodyText.starts_with('[') ? json::elements(request.bodyText) : Texts();
  if (*payload >= payloads.size()) throw std::invalid_argument("this request has no such payload");
  const auto value = json::parse(payloads[*payload], json::kMaxPayloadDepth).value();
  const auto& object = value.as_object();
  const auto* member = object.if_contains("SESSION");
  const auto* session = member ? member->if_object() : nullptr;
  text += R"(,"members":)";
  json::append(text, session ? members(*session) : boost::json::array());
  text += R"(,"beside":)";
  json::append(text, members(object, session ? "SESSION" : ""));
  text += R"(,"suspicions":)";
  json::append(text, suspicionsOf(request, *payload, object, payloads[*payload]));
  return text + '}';
}

std::string inspectionPage(const RequestLog& log, const Selection& selection, const RequestLog::Filter& wanted) {
  const auto [total, good, suspicious, bad] = log.counts();
  auto page = fmt::format(R"({{"total":{},"good":{},"suspicious":{},"bad":{},)", total, good, suspicious, bad);
  const auto limit = std::min(selection.limit, static_cast<std::size_t>(-2));
  auto found = log.requests(
      [&](const RecordedRequest& request) { return selection.matches(request) && wanted(request); }, limit + 1);
  if (found.size() > limit) {
    found.pop_back();
    page += fmt::format(R"("next":{},)", found.empty() ? selection.since : found.back()->sequence);
  }
  page += R"("requests":[)";
  for (const auto& request : found) {
    if (page.back() != '[') page += ',';
    appendJson(page, *request);
  }
  return page + "]}";
}

}  // namespace zul::collector
