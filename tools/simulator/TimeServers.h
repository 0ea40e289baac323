#pragma once

#include <boost/json/object.hpp>
#include <boost/json/value.hpp>
#include <vector>

#include "SimulatedPhone.h"

namespace zul {
class NHNetworkClock;
}

namespace zul::simulator {

/// The time servers that an object, or an array of such, describes. Throws CommandError where a name is unknown or a
/// value of the wrong kind.
std::vector<test::SimulatedPhone::PlacedTimeServer> readTimeServers(const boost::json::value& form);

/// What each name stands for.
boost::json::object timeServersHelp();

/// What the network clock knows; numbers that are none are null.
boost::json::object networkClockView(NHNetworkClock& clock);

}  // namespace zul::simulator
