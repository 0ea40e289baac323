#include "RecordedRequest.h"

#include <fmt/chrono.h>
#include <fmt/format.h>

#include <algorithm>
#include <boost/json.hpp>

#include "Json.h"
#include "PercentCoding.h"
#include "Utf8.h"

namespace zul::collector {

namespace {

std::string timeText(std::chrono::system_clock::time_point time) {
  const auto milliseconds = std::chrono::floor<std::chrono::milliseconds>(time).time_since_epoch().count();
  return fmt::format("{:%Y-%m-%dT%H:%M:%S}.{:03}Z", fmt::gmtime(static_cast<std::time_t>(milliseconds / 1000)),
                     milliseconds % 1000);
}

boost::json::object answerOf(const GivenAnswer& answer) {
  return {{"status", answer.status},
          {"body", printable(answer.body)},
          {"delay", answer.delay.count()},
          {"close", answer.close},
          {"accepted", answer.accepted}};
}

char lower(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

}  // namespace

std::string printable(const std::string& text) {
  return isUtf8(text) ? text : percentEncode(text);
}

bool HeaderLess::operator()(std::string_view left, std::string_view right) const noexcept {
  return std::lexicographical_compare(left.begin(), left.end(), right.begin(), right.end(),
                                      [](char a, char b) { return lower(a) < lower(b); });
}

std::string RecordedRequest::header(std::string_view name) const {
  const auto found = headers.find(name);
  return found == headers.end() ? std::string() : found->second;
}

boost::json::value RecordedRequest::body() const {
  return json::parse(bodyText, json::kMaxPayloadDepth + 8).value_or(nullptr);
}

std::size_t RecordedRequest::footprint() const noexcept {
  constexpr std::size_t kHeader = 128;  // a node of the map, and what its texts take beyond their length
  std::size_t bytes = sizeof *this + method.size() + path.size() + query.size() + bodyText.size() + problem.size() +
                      device.size() + model.size() + rawBody.size() + answer.body.size();
  for (const auto& payload : payloads) {
    bytes += sizeof payload + payload.uuid.size() + payload.vendorId.size() + payload.model.size() +
             payload.application.size();
  }
  for (const auto& odd : suspicions) bytes += sizeof odd + odd.key.size() + odd.reason.size();
  for (const auto& [key, value] : headers) bytes += kHeader + key.size() + value.size();
  return bytes;
}

void appendJson(std::string& out, const RecordedRequest& request) {
  appendJson(out, request, request.bodyText);
}

void appendJson(std::string& out, const RecordedRequest& request, std::string_view body) {
  boost::json::object headers;
  for (const auto& [key, value] : request.headers) headers[printable(key)] = printable(value);
  boost::json::array suspicions;
  for (const auto& odd : request.suspicions) {
    suspicions.push_back({{"payload", odd.payload}, {"key", odd.key}, {"reason", odd.reason}});
  }
  json::append(out, boost::json::object{{"seq", request.sequence},
                                        {"time", timeText(request.time)},
                                        {"endpoint", name(request.endpoint)},
                                        {"method", printable(request.method)},
                                        {"path", printable(request.path)},
                                        {"query", printable(request.query)},
                                        {"headers", std::move(headers)},
                                        {"rawSize", request.rawSize},
                                        {"good", request.good()},
                                        {"problem", printable(request.problem)},
                                        {"verdict", request.verdict()},
                                        {"suspicions", std::move(suspicions)},
                                        {"device", request.device},
                                        {"model", request.model},
                                        {"visit", request.visit},
                                        {"payloads", request.payloads.size()},
                                        {"answer", answerOf(request.answer)}});
  // As it stands: a large one is taken apart by nobody here.
  out.back() = ',';
  out.append("\"body\":").append(body.empty() ? "null" : body).append("}");
}

}  // namespace zul::collector
