#pragma once

#include <boost/json/object.hpp>
#include <string_view>

#include "zul/InternalCampaign.h"
#include "zul/User.h"

namespace zul::simulator {

inline constexpr std::string_view kUserForm = R"({"memberId":"TEXT", ...})";
inline constexpr std::string_view kInternalCampaignForm = R"({"inrc1":"TEXT","inrcDt1":DAYS, ...})";

/// A member, by the names of its fields; and campaigns, by those of their slots. What has no such name, or is of
/// another kind, throws CommandError.
User readUser(const boost::json::object& fields);
InternalCampaign readInternalCampaign(const boost::json::object& fields);

}  // namespace zul::simulator
