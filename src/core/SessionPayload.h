#pragma once

#include <string>

#include "Fields.h"

namespace zul {

/// The session payload as compact JSON text: full for a `useMode` of 1 or 2, reduced for 3, "{}" for any other.
/// Keys whose value is none are left out. Text rather than an object, since it is built at every event and hardly
/// ever read.
std::string sessionPayload(const SessionJson& record, const PayloadExtras& extras);

}  // namespace zul
