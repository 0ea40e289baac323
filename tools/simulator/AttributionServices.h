#pragma once

#include <boost/json/object.hpp>

#include "SimulatedAttribution.h"
#include "SimulatedWebViews.h"

namespace zul {
struct Claims;
}

/// What a script says of web views and search ads, and what claims an install, as JSON.
namespace zul::simulator {

/// Sets the values that `changes` names. Throws CommandError, and changes nothing, where a name is unknown or a value
/// of the wrong kind.
void changeWebViews(platform::SimulatedWebViews::Behaviour& behaviour, const boost::json::object& changes);
void changeAdServices(platform::SimulatedAdServices& services, const boost::json::object& changes);

/// What each name stands for.
boost::json::object webViewHelp();

/// Both claims by their names, "fp" and "ir"; null where there is none.
boost::json::object candidatesView(const Claims& claims);

}  // namespace zul::simulator
