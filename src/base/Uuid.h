#pragma once

#include <string>

namespace zul {

/// A new random UUID, as 36 upper-case characters.
std::string randomUuid();

/// The UUID that `name` always gives within `space` (version 5), as 36 upper-case characters.
std::string namedUuid(const std::string& space, const std::string& name);

}  // namespace zul
