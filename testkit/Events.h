#pragma once

#include <boost/json/array.hpp>
#include <string>

namespace zul {
class Tracker;
}

namespace zul::test {

/// Reports an event that can be told from the others.
void reportEvent(Tracker& tracker, const std::string& name);
void reportEvent(Tracker& tracker, int number);

/// The names of the events that these payloads bring, in order; `nameless` for each session without an event.
std::string eventNames(const boost::json::array& payloads, const std::string& nameless = "");

}  // namespace zul::test
