#pragma once

#include "Runtime.h"
#include "Tracker.h"

namespace zul {

/// The boundary to the host: runs `work` on the process's Runtime, and nothing that it throws passes. Without a Runtime
/// to log to there is nothing left to do.
template <typename Work>
void guard(Work&& work, const CallSite& where) noexcept {
  try {
    auto& runtime = Runtime::process();
    runtime.log().guard([&] { work(runtime); }, where);
  } catch (...) {
  }
}

template <typename Work>
void withTracker(Work&& work, const CallSite& where) noexcept {
  guard([&](Runtime& runtime) { work(runtime.tracker()); }, where);
}

}  // namespace zul
