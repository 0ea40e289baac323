#pragma once

#include <functional>
#include <optional>
#include <string>

namespace zul::simulator {

inline constexpr const char* kPrompt = "zul> ";

class Interrupt;

/// The next line that is typed at the prompt, with history and completion; none at the end of the input. Ctrl-C takes
/// back what is typed so far. While nobody types, `idle` is called over and over where it is given; it must take its
/// time.
std::optional<std::string> promptLine(Interrupt& interrupt, const std::function<void()>& idle);

}  // namespace zul::simulator
