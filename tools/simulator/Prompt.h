#pragma once

#include <optional>
#include <string>

namespace zul::simulator {

inline constexpr const char* kPrompt = "zul> ";

/// The next line that is typed at the prompt, with history and completion; none at the end of the input.
std::optional<std::string> promptLine();

}  // namespace zul::simulator
