#include "EventFeed.h"

#include <fmt/format.h>

#include <algorithm>
#include <boost/json.hpp>
#include <charconv>
#include <utility>

#include "Json.h"

namespace zul::collector {

namespace {

constexpr std::size_t kMostRequests = 500;
constexpr std::size_t kMostBytes = std::size_t{256} << 10;
constexpr std::size_t kMostPayloads = 1000;  // of one request
constexpr std::chrono::seconds kSignOfLife{15};

/// "ERA.RECORDED"; anything else is nowhere.
RequestLog::Position readId(std::string_view id) {
  RequestLog::Position position;
  const auto* end = id.data() + id.size();
  const auto [dot, noEra] = std::from_chars(id.data(), end, position.era);
  if (noEra != std::errc{} || dot == end || *dot != '.') return {};
  const auto [last, noNumber] = std::from_chars(dot + 1, end, position.recorded);
  return noNumber == std::errc{} && last == end ? position : RequestLog::Position{};
}

boost::json::array inShort(const std::vector<PayloadFacts>& payloads) {
  boost::json::array list;
  const PayloadFacts* before = nullptr;
  const auto unlessSame = [&](std::string PayloadFacts::*member, const PayloadFacts& payload) {
    return before && before->*member == payload.*member ? boost::json::value() : boost::json::value(payload.*member);
  };
  for (const auto& payload : payloads) {
    if (list.size() == kMostPayloads) break;
    list.push_back({unlessSame(&PayloadFacts::uuid, payload), payload.vtTz, payload.visit, payload.isVisitNew,
                    payload.equalTo, unlessSame(&PayloadFacts::model, payload),
                    unlessSame(&PayloadFacts::application, payload)});
    before = &payload;
  }
  return list;
}

boost::json::object inShort(const RecordedRequest& request) {
  using std::chrono::milliseconds;
  boost::json::object entry{{"seq", request.sequence},
                            {"t", std::chrono::duration_cast<milliseconds>(request.time.time_since_epoch()).count()},
                            {"endpoint", name(request.endpoint)},
                            {"verdict", request.verdict()},
                            {"size", request.rawSize},
                            {"accepted", request.answer.accepted}};
  if (!request.problem.empty()) entry["problem"] = printable(request.problem);
  if (request.endpoint == Endpoint::unknown) entry["path"] = printable(request.path);
  if (!request.suspicions.empty()) {
    boost::json::array odd;
    for (const auto& one : request.suspicions) odd.push_back({one.payload, one.key, one.reason});
    entry["odd"] = std::move(odd);
  }
  if (!request.payloads.empty()) {
    entry["payloads"] = request.payloads.size();
    entry["of"] = inShort(request.payloads);
  }
  return entry;
}

}  // namespace

EventFeed::EventFeed(const RequestLog& log, const Answers& answers, std::string_view lastId)
    : log_(log), answers_(answers), position_(readId(lastId)) {}

std::string EventFeed::next() {
  const auto news = log_.after(position_, kMostRequests);
  const auto answersVersion = answers_.version();
  const bool changed = first_ || news.begun || !news.requests.empty() || answersVersion != answersVersion_;
  if (!changed && Clock::now() - spoke_ < kSignOfLife) return {};
  spoke_ = Clock::now();
  if (!changed) return ": still here\n\n";
  first_ = false;
  answersVersion_ = answersVersion;
  position_ = news.position;

  std::string requests;
  for (const auto& request : news.requests) {
    if (!requests.empty()) requests += ',';
    json::append(requests, inShort(*request));
    position_.recorded = request->recorded;
    if (requests.size() > kMostBytes) break;
  }
  const auto& [total, good, suspicious, bad] = news.counts;
  return fmt::format(
      "id: {}.{}\n"
      R"(data: {{"begun":{},"missed":{},"counts":{{"total":{},"good":{},"suspicious":{},"bad":{}}},"answers":{},)"
      R"("requests":[{}]}})"
      "\n\n",
      position_.era, position_.recorded, news.begun, news.missed, total, good, suspicious, bad, answersVersion,
      requests);
}

}  // namespace zul::collector
