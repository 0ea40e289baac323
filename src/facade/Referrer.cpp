#include "zul/Referrer.h"

#include "Boundary.h"

namespace zul {

void Referrer::parseDeepLink(const Text& link) noexcept {
  withTracker([&](Tracker& tracker) { tracker.recordDeepLink(link); }, ZUL_HERE);
}

void Referrer::parseReferrer(const Text& text) noexcept {
  withTracker([&](Tracker& tracker) { tracker.recordReferrer(text); }, ZUL_HERE);
}

}  // namespace zul
