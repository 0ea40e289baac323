#include "Prompt.h"

#include <editline/readline.h>
#include <langinfo.h>
#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <memory>
#include <mutex>
#include <vector>

#include "Interrupt.h"
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

// The line that the handler was called with, once it was.
bool typed = false;
char* typedLine = nullptr;

void take(char* line) {
  typedLine = line;
  typed = true;
  rl_callback_handler_remove();
}

// False when the terminal is gone.
bool readKeys(Interrupt& interrupt, const std::function<void()>& idle) {
  pollfd awaited[] = {{STDIN_FILENO, POLLIN, 0}, {interrupt.file(), POLLIN, 0}};
  while (!typed) {
    const int ready = ::poll(awaited, std::size(awaited), idle ? 0 : -1);
    if (ready == 0) {
      idle();
    } else if (ready < 0) {
      if (errno != EINTR) return false;
    } else if (awaited[1].revents != 0) {
      interrupt.clear();
      rl_callback_handler_remove();
      std::fputs("^C\n", stdout);
      rl_callback_handler_install(kPrompt, take);  // with an empty line
    } else if ((awaited[0].revents & POLLIN) != 0) {
      rl_callback_read_char();
    } else {
      return false;
    }
  }
  return true;
}

// Else the prompt takes ASCII alone. Numbers stay as they are.
void useUtf8() {
  if (setlocale(LC_CTYPE, "") == nullptr || std::strcmp(nl_langinfo(CODESET), "UTF-8") != 0) {
    setlocale(LC_CTYPE, "C.UTF-8");
  }
}

}  // namespace

std::optional<std::string> promptLine(Interrupt& interrupt, const std::function<void()>& idle) {
  static std::once_flag once;
  std::call_once(once, useUtf8);
  rl_catch_signals = 0;  // Ctrl-C is the interrupt's
  rl_attempted_completion_function = complete;
  typed = false;
  typedLine = nullptr;
  rl_callback_handler_install(kPrompt, take);
  if (!readKeys(interrupt, idle)) rl_callback_handler_remove();
  const std::unique_ptr<char, decltype(&std::free)> line(typedLine, &std::free);
  if (!line) return std::nullopt;
  if (*line != '\0') add_history(line.get());
  return line.get();
}

}  // namespace zul::simulator
