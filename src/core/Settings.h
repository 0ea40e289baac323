#pragma once

#include <string>
#include <vector>

#include "zul/Dictionary.h"

namespace zul {

/// What is wrong with the service's settings, the dictionary "zulAuthorizationKey", that the host could mend: a
/// sentence each, with the value at fault.
std::vector<std::string> settingsProblems(const Dictionary& zulAuthorizationKey);

}  // namespace zul
