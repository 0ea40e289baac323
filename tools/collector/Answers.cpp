#include "Answers.h"

#include <fmt/format.h>

#include <algorithm>
#include <boost/json.hpp>
#include <cstdint>
#include <iterator>
#include <stdexcept>
#include <utility>

#include "Json.h"

namespace zul::collector {

namespace {

constexpr std::size_t kMostQueued = 10'000;

/// A number of nine digits that a bundle identifier always gets.
std::int64_t storeNumber(std::string_view bundleId) {
  std::uint64_t hash = 14695981039346656037u;  // FNV-1a
  for (const char c : bundleId) hash = (hash ^ static_cast<unsigned char>(c)) * 1099511628211u;
  return static_cast<std::int64_t>(100'000'000 + hash % 900'000'000);
}

[[noreturn]] void refuse(const std::string& place, std::string_view why) {
  throw std::invalid_argument(fmt::format("answers: {}: {}", place, why));
}

std::int64_t integerWithin(const boost::json::value& value, std::int64_t low, std::int64_t high,
                           const std::string& place) {
  if (!value.is_int64() || value.get_int64() < low || value.get_int64() > high) {
    refuse(place, fmt::format("must be a whole number from {} to {}", low, high));
  }
  return value.get_int64();
}

std::string bodyText(const boost::json::value& body, const std::string& place) {
  const auto* object = body.if_object();
  if (!object || object->size() != 1 || !object->contains("raw")) return json::text(body);
  const auto* raw = object->at("raw").if_string();
  if (!raw) refuse(place + ".raw", "must be a string");
  return std::string(*raw);
}

Answer readAnswer(const boost::json::value& value, const std::string& place) {
  constexpr std::int64_t kDayInMilliseconds = 86'400'000;
  if (!value.is_object()) refuse(place, "must be an object");
  Answer answer;
  for (const auto& [key, member] : value.get_object()) {
    const auto memberPlace = fmt::format("{}.{}", place, std::string_view(key));
    if (key == "body") {
      answer.body = bodyText(member, memberPlace);
    } else if (key == "status") {
      answer.status = static_cast<int>(integerWithin(member, 200, 599, memberPlace));
    } else if (key == "delay") {
      answer.delay = std::chrono::milliseconds(integerWithin(member, 0, kDayInMilliseconds, memberPlace));
    } else if (key == "close") {
      if (!member.is_bool()) refuse(memberPlace, "must be true or false");
      answer.close = member.get_bool();
    } else {
      refuse(memberPlace, "no such member; there are body, status, delay and close");
    }
  }
  return answer;
}

/// The form that readAnswer reads.
boost::json::object written(const Answer& answer) {
  boost::json::object object;
  if (answer.body) {
    const auto value = json::parse(*answer.body);
    const auto* members = value ? value->if_object() : nullptr;
    const bool plain = value && json::text(*value) == *answer.body && !(members && members->contains("raw"));
    object["body"] = plain ? *value : boost::json::object{{"raw", *answer.body}};
  }
  if (answer.status != 200) object["status"] = answer.status;
  if (answer.delay.count() > 0) object["delay"] = answer.delay.count();
  if (answer.close) object["close"] = true;
  return object;
}

}  // namespace

std::string usualBody(Endpoint endpoint, std::string_view query) {
  switch (endpoint) {
    case Endpoint::token:
      return R"({"token":"development-token"})";
    case Endpoint::fingerprint:
    case Endpoint::unknown:  // somebody else's
      return "{}";
    case Endpoint::appstore:
      return fmt::format(R"({{"resultCount":1,"results":[{{"trackId":{}}}]}})",
                         storeNumber(query.substr(query.find('=') + 1)));
    default:
      return R"({"code":"RES001","msg":"OK"})";
  }
}

Answers::Lists Answers::read(std::string_view json) {
  const auto object = json::parseObject(json);
  if (!object) refuse("the whole", "must be a JSON object of lists by endpoint name");
  Lists lists;
  for (const auto& [key, list] : *object) {
    const std::string place(key);
    const auto found = std::find(kEndpointNames.begin(), kEndpointNames.end(), place);
    if (found == kEndpointNames.end()) {
      refuse(place, fmt::format("no such endpoint; there are {}", fmt::join(kEndpointNames, ", ")));
    }
    if (!list.is_array()) refuse(place, "must be a list of answers");
    auto& answers = lists[static_cast<Endpoint>(found - kEndpointNames.begin())];
    for (const auto& answer : list.get_array()) {
      answers.push_back(readAnswer(answer, fmt::format("{}[{}]", place, answers.size())));
    }
  }
  return lists;
}

void Answers::set(std::string_view json) {
  auto lists = read(json);
  const MutexLock lock(mutex_);
  scripts_ = {};
  for (auto& [endpoint, list] : lists) scripts_.at(static_cast<std::size_t>(endpoint)) = std::move(list);
  ++version_;
}

void Answers::setEach(std::string_view json) {
  auto lists = read(json);
  const MutexLock lock(mutex_);
  for (auto& [endpoint, list] : lists) scripts_.at(static_cast<std::size_t>(endpoint)) = std::move(list);
  ++version_;
}

void Answers::queue(std::string_view json) {
  auto lists = read(json);
  const MutexLock lock(mutex_);
  for (auto& [endpoint, list] : lists) {
    auto& script = scripts_.at(static_cast<std::size_t>(endpoint));
    if (script.size() + list.size() > kMostQueued) {
      refuse(std::string(name(endpoint)), fmt::format("no more than {} answers can wait", kMostQueued));
    }
    if (script.empty()) script.emplace_back();
    script.insert(script.end() - 1, std::make_move_iterator(list.begin()), std::make_move_iterator(list.end()));
  }
  ++version_;
}

Answer Answers::next(Endpoint endpoint) {
  const MutexLock lock(mutex_);
  auto& script = scripts_.at(static_cast<std::size_t>(endpoint));
  if (script.empty()) return {};
  if (script.size() == 1) return script.front();
  auto answer = std::move(script.front());
  script.pop_front();
  ++version_;
  return answer;
}

std::string Answers::text() const {
  boost::json::object lists;
  const MutexLock lock(mutex_);
  for (std::size_t at = 0; at < scripts_.size(); ++at) {
    boost::json::array list;
    for (const auto& answer : scripts_[at]) list.push_back(written(answer));
    lists[kEndpointNames[at]] = std::move(list);
  }
  return json::text(lists);
}

std::uint64_t Answers::version() const {
  const MutexLock lock(mutex_);
  return version_;
}

}  // namespace zul::collector
