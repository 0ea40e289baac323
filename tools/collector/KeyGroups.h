#pragma once

#include <string>

namespace zul::collector {

/// The keys of a payload for people, a JSON array in the order of the groups: for each key "key", its "group", "kind"
/// and "meaning", and "time" true where its number is one in ms since 1970.
std::string catalogue();

}  // namespace zul::collector
