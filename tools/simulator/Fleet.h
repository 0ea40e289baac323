#pragma once

#include <boost/json/object.hpp>
#include <cstddef>
#include <functional>

namespace zul::simulator {

class LiveClient;
class Phone;

struct FleetOptions {
  std::size_t devices;
  double seconds;              ///< of virtual time
  const Phone& model;          ///< what all have in common: the time, the configuration and the collector
  LiveClient* live;            ///< that a real collector is asked with; null: a simulated one
  std::function<void()> goOn;  ///< called all the time; throws when the fleet is to end
};

/// Lets many devices live side by side, each with values and habits that its number decides, so that two runs are
/// alike. Virtual time leaps; a real collector is waited for once every virtual second. Returns "devices", "seconds",
/// "launches", "sessions", "events", "requests", "bytes" (of the requests' bodies), "problems" (requests that break
/// the collector's contract), "memory" (the process's resident bytes, when they were most) and "memoryPerDevice" (what
/// each device adds to that).
boost::json::object runFleet(const FleetOptions& options);

}  // namespace zul::simulator
