#pragma once

#include <sys/types.h>

#include <chrono>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include "Descriptor.h"

namespace zul::test {

/// There is no terminal to be had here.
struct NoTerminal : std::runtime_error {
  using runtime_error::runtime_error;
};

/// A process that runs beside this one, which writes its standard input and reads its standard output. Killed, if it
/// still runs, when this goes. Once its end has been seen, its number may be somebody else's and is not used any more.
class Child {
 public:
  using Clock = std::chrono::steady_clock;

  /// Starts a program, looked for in the PATH if its name has no slash. Its standard error is appended to a file, or
  /// goes where the output goes. Throws std::system_error when it cannot be started, as the others do.
  Child(const std::string& program, const std::vector<std::string>& arguments, const std::string& errorFile = "");
  /// A copy of this process, which does the work and exits with the status that it gives. Without this process's
  /// threads: what they held locked stays locked.
  explicit Child(const std::function<int()>& work);
  /// A program on a terminal of its own, an xterm. Throws NoTerminal where none can be made.
  static Child onTerminal(const std::string& program, const std::vector<std::string>& arguments);

  ~Child();
  Child(const Child&) = delete;
  Child& operator=(const Child&) = delete;

  /// Its number, for as long as its end has not been seen.
  pid_t pid() const { return pid_; }
  /// Does nothing when the end has been seen.
  void signal(int number) const;
  void kill();

  /// False when it does not take all of the text.
  bool type(const std::string& text) const;
  /// The end of its input. A terminal has none.
  void closeInput() { in_.close(); }

  /// Reads standard output up to `text`, or to its end. False when neither comes within `patience`.
  bool readUpTo(const std::string& text, Clock::duration patience);
  /// What it prints up to `text`, as far as that comes within `patience`. The next call gives what is printed after it.
  std::string takeUpTo(const std::string& text, Clock::duration patience);
  /// Reads up to the end, which is that of the process. False when it does not come within `patience`.
  bool ended(Clock::duration patience);
  /// Waits for the end and gives the exit status; -1 when it does not end by itself within half a minute.
  int exitStatus();

  /// All that was read, and not taken.
  const std::string& output() const { return output_; }
  /// As waitpid gives it; -1 until the end has been seen.
  int status() const { return status_; }

 private:
  struct OnTerminal {};
  Child(OnTerminal, const std::string& program, const std::vector<std::string>& arguments);

  void reap();

  Descriptor in_;
  Descriptor out_;
  pid_t pid_ = -1;
  int status_ = -1;
  std::string output_;
};

}  // namespace zul::test
