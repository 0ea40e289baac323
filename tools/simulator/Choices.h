#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "Contract.h"
#include "RecordedRequest.h"
#include "zul/Application.h"
#include "zul/platform/LifeCycle.h"
#include "zul/platform/Reachability.h"

/// What commands choose from by name.
namespace zul::simulator {

/// A service that a script gives answers of.
struct Service {
  std::string_view name;
  collector::Endpoint endpoint;

  /// Of its requests. The search-ads attribution is no endpoint of the collector's.
  std::string_view path() const {
    return endpoint == collector::Endpoint::unknown ? "/api/v1/" : collector::path(endpoint);
  }
};
inline constexpr Service kServices[] = {
    {"token", collector::Endpoint::token},         {"upload", collector::Endpoint::upload},
    {"errorlog", collector::Endpoint::errorlog},   {"appstore", collector::Endpoint::appstore},
    {"pushclick", collector::Endpoint::pushclick}, {"fingerprint", collector::Endpoint::fingerprint},
    {"searchads", collector::Endpoint::unknown},
};

struct Network {
  std::string_view name;
  std::uint32_t flags;
};
inline constexpr Network kNetworks[] = {
    {"wifi", platform::Reachability::kReachable},
    {"cellular", platform::Reachability::kReachable | platform::Reachability::kIsWwan},
    {"offline", 0},
};

/// A state of the application, an event that the library is told of, or both.
struct State {
  std::string_view name;
  std::optional<ApplicationState> state;
  std::optional<platform::LifeCycle::Event> event = std::nullopt;
};
inline constexpr State kStates[] = {
    {"active", ApplicationState::active},
    {"inactive", ApplicationState::inactive},
    {"background", ApplicationState::background, platform::LifeCycle::Event::background},
    {"foreground", ApplicationState::inactive, platform::LifeCycle::Event::foreground},  // on its way to active
    {"significantTimeChange", std::nullopt, platform::LifeCycle::Event::significantTimeChange},
};

/// The entry of that name; null when there is none.
template <typename Table>
const auto* find(const Table& table, std::string_view name) {
  for (const auto& entry : table) {
    if (entry.name == name) return &entry;
  }
  return static_cast<decltype(&*std::begin(table))>(nullptr);
}

}  // namespace zul::simulator
