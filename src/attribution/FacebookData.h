#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace zul {

/// The install referrers in the query of a URL that an advertisement opened: the campaign link in each of its
/// "al_applink_data", with the moment of the click behind it. `now` in ms since 1970. What cannot be read is told to
/// `problem` and passed over. A pure function of its arguments, which takes any bytes and is linear in them.
std::vector<std::string> facebookReferrers(std::string_view url, double now,
                                           const std::function<void(const std::string&)>& problem);

}  // namespace zul
