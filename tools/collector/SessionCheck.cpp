#include "SessionCheck.h"

#include <fmt/format.h>

#include <algorithm>
#include <boost/json.hpp>
#include <functional>
#include <utility>

#include "WireKeys.h"

namespace zul::collector {

namespace {

constexpr std::size_t kMostComplaints = 32;
constexpr std::size_t kLongestText = 64;
constexpr std::string_view kHidden = "ANP";

std::string_view textOf(const boost::json::object& object, std::string_view key) {
  const auto* value = object.if_contains(key);
  return value && value->is_string() ? std::string_view(value->get_string()) : std::string_view();
}

std::int64_t numberOf(const boost::json::object& object, std::string_view key) {
  const auto* value = object.if_contains(key);
  return value && value->is_int64() ? value->get_int64() : 0;
}

struct Complaints {
  std::size_t payload;
  Suspicions& suspicions;
  void operator()(std::string_view key, std::string reason) const { suspicions.add(payload, key, std::move(reason)); }
};

void checkKeys(const boost::json::object& session, std::int64_t useMode, const Complaints& complain) {
  bool hasCampaigns = false;
  for (const auto& [key, value] : session) {
    hasCampaigns |= std::string_view(key).starts_with("inrc");
    const auto kind = expectedKind(key, useMode);
    if (!kind) {
      complain(key, "no such key in a payload, unless the host has added it");
    } else if (!isOf(*kind, value)) {
      complain(key, fmt::format("should be {}", name(*kind)));
    }
  }
  for (const auto& known : wireKeys()) {
    const bool expected = useMode == 3 ? known.reduced == WireKey::always : known.full == WireKey::always;
    if (expected && !session.contains(known.key)) complain(known.key, "is missing");
  }
  const auto* version = session.if_contains("sdk_version");
  if (version && version->is_object() && textOf(version->get_object(), "SESSION").empty()) {
    complain("sdk_version", "names no version");
  }
  for (int slot = 1; hasCampaigns && slot <= 10; ++slot) {
    if (!session.contains(fmt::format("inrc{}", slot))) continue;
    for (const auto* key : {"inrcTime", "inrcDt"}) {
      const auto full = fmt::format("{}{}", key, slot);
      if (!session.contains(full)) complain(full, fmt::format("is missing beside inrc{}", slot));
    }
  }
}

/// Without consent every one of these is hidden, with it none is.
void checkConsent(const boost::json::object& session, const Complaints& complain) {
  constexpr std::string_view kPrivate[] = {"lng", "cntr", "tz", "sr", "phone", "cari"};
  std::string_view hidden;
  std::string_view filled;
  for (const auto key : kPrivate) {
    const auto text = textOf(session, key);
    if (!text.empty()) (text == kHidden ? hidden : filled) = key;
  }
  if (!hidden.empty() && !filled.empty()) {
    complain(hidden, fmt::format("is \"ANP\", though {} is filled", filled));
  } else if (!hidden.empty() && session.contains("advtFlag") && numberOf(session, "advtFlag") == 0) {
    complain(hidden, "is \"ANP\", though advtFlag 0 says that tracking is allowed");
  } else if (!filled.empty() && numberOf(session, "advtFlag") == 1) {
    complain(filled, "is filled, though advtFlag 1 says that tracking is not allowed");
  }
}

}  // namespace

void Suspicions::add(std::size_t payload, std::string_view key, std::string reason) {
  const std::string shown(key.substr(0, kLongestText));
  const bool known = std::any_of(found_.begin(), found_.end(),
                                 [&](const Suspicion& other) { return other.key == shown && other.reason == reason; });
  if (!known && found_.size() < kMostComplaints) found_.push_back({payload, shown, std::move(reason)});
}

PayloadFacts checkPayload(const boost::json::object& payload, std::string_view text, std::size_t number,
                          Suspicions& suspicions) {
  const Complaints complain{number, suspicions};
  PayloadFacts facts;
  facts.hash = std::hash<std::string_view>{}(text);
  const auto* member = payload.if_contains("SESSION");
  const auto* session = member ? member->if_object() : nullptr;
  for (const auto& [key, value] : payload) {
    if (key != "SESSION") complain(key, "stands beside the session, where nothing else belongs");
  }
  if (!session || session->empty()) {
    complain("SESSION", !member   ? "is missing"
                        : session ? "is empty: the library had no settings yet"
                                  : "should be an object");
    return facts;
  }
  const auto useMode = numberOf(*session, "useMode");
  if (useMode < 1 || useMode > 3) complain("useMode", "should be 1, 2 or 3");
  checkKeys(*session, useMode == 3 ? 3 : 1, complain);
  checkConsent(*session, complain);
  if (session->contains("_qzno") && numberOf(*session, "_qzno") == 0) {
    complain("_qzno", "is 0: the configuration has no serviceNumber");
  }
  facts.uuid = textOf(*session, "uuid").substr(0, kLongestText);
  facts.vendorId = textOf(*session, "vendorId").substr(0, kLongestText);
  facts.model = textOf(*session, "phone").substr(0, kLongestText);
  facts.application = textOf(*session, "pkg").substr(0, kLongestText);
  facts.visit = numberOf(*session, "ltvt");
  facts.isVisitNew = textOf(*session, "isVisitNew") == "Y";
  facts.vtTz = numberOf(*session, "vtTz");
  return facts;
}

}  // namespace zul::collector
