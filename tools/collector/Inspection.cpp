#include "Inspection.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <stdexcept>

#include "PercentCoding.h"

namespace zul::collector {

namespace {

std::uint64_t number(std::string_view key, std::string_view text) {
  std::uint64_t value = 0;
  const auto* end = text.data() + text.size();
  const auto [at, error] = std::from_chars(text.data(), end, value);
  if (error != std::errc{} || at != end) throw std::invalid_argument(fmt::format("{} is not a whole number", key));
  return value;
}

}  // namespace

bool Selection::matches(const RecordedRequest& request) const {
  return request.sequence > since && (device.empty() || request.device == device) &&
         (endpoint.empty() || name(request.endpoint) == endpoint) && (verdict.empty() || request.verdict() == verdict);
}

Selection readSelection(std::string_view query) {
  Selection selection;
  while (!query.empty()) {
    const auto piece = query.substr(0, query.find('&'));
    query.remove_prefix(std::min(piece.size() + 1, query.size()));
    const auto key = piece.substr(0, piece.find('='));
    const auto value = percentDecode(piece.substr(std::min(key.size() + 1, piece.size())));
    if (!value) throw std::invalid_argument(fmt::format("{} is not percent-encoded", key));
    if (key == "device") {
      selection.device = *value;
    } else if (key == "endpoint") {
      selection.endpoint = *value;
      const bool known =
          *value == name(Endpoint::unknown) || std::count(kEndpointNames.begin(), kEndpointNames.end(), *value);
      if (!known) throw std::invalid_argument(fmt::format("there is no endpoint \"{}\"", *value));
    } else if (key == "verdict") {
      selection.verdict = *value;
      if (*value != "good" && *value != "suspicious" && *value != "bad") {
        throw std::invalid_argument("verdict is good, suspicious or bad");
      }
    } else if (key == "since") {
      selection.since = number(key, *value);
    } else if (key == "limit") {
      selection.limit = number(key, *value);
    } else {
      throw std::invalid_argument(
          fmt::format("there is no filter \"{}\"; there are device, endpoint, verdict, since and limit", key));
    }
  }
  return selection;
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
