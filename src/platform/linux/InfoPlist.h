#pragma once

#include <boost/json/object.hpp>
#include <optional>
#include <string>
#include <string_view>

namespace zul::platform {

/// The dictionary that a property list holds, in XML or binary form; none when it holds none, and then `error` says
/// why. Text, numbers, booleans, arrays and dictionaries are taken over; dates, data and text that is not UTF-8 are
/// left out.
///
/// The text may be anything: what is nested too deep, or stands for far more than its own size, is refused.
std::optional<boost::json::object> parseInfoPlist(std::string_view text, std::string& error);

}  // namespace zul::platform
