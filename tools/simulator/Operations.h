#pragma once

#include <boost/json/object.hpp>
#include <boost/json/value.hpp>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Arguments.h"
#include "zul/Application.h"

namespace zul::simulator {

class Phone;

/// A call of the application's, under way.
struct Call {
  Phone& phone;
  Arguments& arguments;
  ApplicationState state;                                  ///< of the application
  const std::function<void(boost::json::object)>& report;  ///< tells, then or later, that a callback was called
};

/// An operation of the library that the application can call: those of the facade by their bare names, the others as
/// "Tracker.makeJson".
struct Operation {
  std::string_view name;
  std::string parameters;  ///< for the help: "[TEXT] true|false"
  /// The result; none of an operation that has none.
  std::function<std::optional<boost::json::value>(Call&)> run;
};

/// All of them.
const std::vector<Operation>& operations();

}  // namespace zul::simulator
