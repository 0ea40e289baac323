#include "Prompt.h"

#include <editline/readline.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

#include "Simulator.h"

namespace zul::simulator {

namespace {

// One fitting word a call, the library's own way; state 0 begins a new search.
char* nextCompletion(const char*, int state) {
  static std::vector<std::string> words;
  static std::size_t at = 0;
  if (state == 0) {
    words = Simulator::completions({rl_line_buffer, static_cast<std::size_t>(rl_point)});
    at = 0;
  }
  return at < words.size() ? strdup(words[at++].c_str()) : nullptr;
}

char** complete(const char* word, int, int) {
  rl_attempted_completion_over = 1;  // no file names
  return rl_completion_matches(word, nextCompletion);
}

}  // namespace

std::optional<std::string> promptLine() {
  rl_attempted_completion_function = complete;
  const std::unique_ptr<char, decltype(&std::free)> typed(readline(kPrompt), &std::free);
  if (!typed) return std::nullopt;
  if (*typed != '\0') add_history(typed.get());
  return typed.get();
}

}  // namespace zul::simulator
