#pragma once

#include <boost/json/array.hpp>
#include <boost/json/object.hpp>
#include <string>
#include <string_view>

#include "zul/platform/HttpClient.h"
#include "zul/platform/Keychain.h"

namespace zul {
struct Deployment;
struct SessionJson;
namespace platform {
class SimulatedClock;
class SimulatedDispatcher;
class SimulatedKeychain;
}  // namespace platform
}  // namespace zul

/// What the device, the library and the wire look like, as JSON.
namespace zul::simulator {

/// Method, URL, headers and the body, decoded. What is wrong with a request, if anything, is its "problem".
boost::json::object requestView(const platform::HttpRequest& request, const Deployment& deployment);

/// The wall clock "time" in its "zone", and the same in "seconds" since 1970.
boost::json::object clockView(const platform::SimulatedClock& clock);

/// What waits, with the seconds until then: 0 where it is due and its queue is held up by a task that is "sleeping".
boost::json::array timersView(const platform::SimulatedDispatcher& dispatcher);

/// The items of a keychain by name, with "account", "label", "description" and "value".
boost::json::object keychainView(const platform::SimulatedKeychain& keychain);
/// One of them; attributes that are left out are blank. Throws CommandError.
platform::Keychain::Dictionary readKeychainItem(const boost::json::object& item);

/// All fields that are set.
boost::json::object recordView(const SessionJson& record);

}  // namespace zul::simulator
