#pragma once

namespace zul {

/// The host application's state, numbered as the platform numbers it.
enum class ApplicationState { active = 0, inactive = 1, background = 2 };

/// The host application, as far as the library looks at it.
struct Application {
  ApplicationState applicationState = ApplicationState::active;
};

}  // namespace zul
