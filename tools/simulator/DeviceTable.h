#pragma once

#include <boost/json/object.hpp>

#include "SimulatedPlatform.h"

namespace zul::simulator {

/// Sets the values that `changes` names; the others stay. Throws CommandError, and changes nothing, where a name is
/// unknown or a value of the wrong kind.
void changeDevice(platform::SimulatedDevice::Values& values, const boost::json::object& changes);

/// What each name stands for.
boost::json::object deviceHelp();

}  // namespace zul::simulator
