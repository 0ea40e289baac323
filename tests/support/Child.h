#pragma once

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <stdexcept>
#include <string>
#include <vector>

namespace zul::test {

/// A program that runs beside the test, with pipes to its standard input and output. Its standard error is appended to
/// a file, or goes where the output goes. Killed, if it still runs, when this goes.
class Child {
 public:
  using Clock = std::chrono::steady_clock;

  Child(const std::string& program, const std::vector<std::string>& arguments, const std::string& errorFile = "") {
    std::array<int, 2> in{};
    std::array<int, 2> out{};
    if (::pipe2(in.data(), O_CLOEXEC) != 0 || ::pipe2(out.data(), O_CLOEXEC) != 0) throw std::runtime_error("pipe");
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, in[0], STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions, out[1], STDOUT_FILENO);
    if (errorFile.empty()) {
      posix_spawn_file_actions_adddup2(&actions, out[1], STDERR_FILENO);
    } else {
      posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, errorFile.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
    }
    std::vector<char*> argv{const_cast<char*>(program.c_str())};
    for (const auto& argument : arguments) argv.push_back(const_cast<char*>(argument.c_str()));
    argv.push_back(nullptr);
    const int failed = ::posix_spawn(&pid_, program.c_str(), &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    ::close(in[0]);
    ::close(out[1]);
    in_ = in[1];
    out_ = out[0];
    if (failed != 0) throw std::runtime_error("cannot run " + program);
  }
  ~Child() {
    kill();
    closeInput();
    ::close(out_);
  }
  Child(const Child&) = delete;
  Child& operator=(const Child&) = delete;

  void signal(int number) const { ::kill(pid_, number); }
  void kill() {
    if (pid_ <= 0) return;
    signal(SIGKILL);
    reap();
  }
  /// Gives it all of its input. Throws when it does not take that.
  void type(const std::string& text) {
    if (::write(in_, text.data(), text.size()) != static_cast<ssize_t>(text.size())) throw std::runtime_error("write");
    closeInput();
  }
  void closeInput() {
    if (in_ >= 0) ::close(in_);
    in_ = -1;
  }

  /// Reads standard output up to `text`, or to its end. False when neither comes within `patience`.
  bool readUpTo(const std::string& text, Clock::duration patience) {
    const auto deadline = Clock::now() + patience;
    while (text.empty() || output_.find(text) == output_.npos) {
      const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now()).count();
      pollfd ready{out_, POLLIN, 0};
      if (left <= 0 || ::poll(&ready, 1, static_cast<int>(left)) <= 0) return false;
      std::array<char, 4096> buffer{};
      const auto length = ::read(out_, buffer.data(), buffer.size());
      if (length <= 0) return true;
      output_.append(buffer.data(), static_cast<std::size_t>(length));
    }
    return true;
  }
  /// The same up to the end, which is that of the process. `status` is then as waitpid gives it.
  bool ended(Clock::duration patience) {
    if (!readUpTo({}, patience)) return false;
    reap();
    return true;
  }

  /// Waits for the end and gives the exit status; -1 when it does not end by itself within half a minute.
  int exitStatus() { return ended(std::chrono::seconds(30)) && WIFEXITED(status_) ? WEXITSTATUS(status_) : -1; }

  const std::string& output() const { return output_; }
  int status() const { return status_; }

 private:
  void reap() {
    if (pid_ > 0) ::waitpid(pid_, &status_, 0);
    pid_ = -1;
  }

  pid_t pid_ = -1;
  int in_ = -1;
  int out_ = -1;
  int status_ = -1;
  std::string output_;
};

}  // namespace zul::test
