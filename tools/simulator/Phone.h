#pragma once

#include "SimulatedPhone.h"

namespace zul::simulator {

/// The device that commands begin with: somewhere abroad, on New Year's morning. Its collector answers as the
/// development collector does.
class Phone final : public test::SimulatedPhone {
 public:
  static constexpr const char* kBundleId = "com.example.app";

  Phone();
};

}  // namespace zul::simulator
