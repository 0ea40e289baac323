#pragma once

#include <functional>

namespace zul::platform {

/// Starts a detached thread that takes none of the host's signals. `body` must not throw, and must own what it
/// touches: nobody waits for the thread. Throws std::system_error when the system has no thread left.
///
/// `name` is at most 15 characters, as tools list it.
void startThread(const char* name, std::function<void()> body);

}  // namespace zul::platform
