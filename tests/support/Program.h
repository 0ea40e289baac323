#pragma once

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <stdexcept>
#include <string>
#include <vector>

namespace zul::test {

/// A program as a child; what it prints, to either stream, comes through one pipe. It reads `input`, or nothing.
class Program {
 public:
  Program(const std::string& file, std::vector<std::string> arguments, const std::string& input = "") {
    int output[2];
    int given[2];
    if (pipe2(output, O_CLOEXEC) != 0 || pipe2(given, O_CLOEXEC) != 0) throw std::runtime_error("pipe");
    output_ = fdopen(output[0], "r");
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, given[0], 0);
    posix_spawn_file_actions_adddup2(&actions, output[1], 1);
    posix_spawn_file_actions_adddup2(&actions, output[1], 2);
    arguments.insert(arguments.begin(), file);
    std::vector<char*> pointers;
    for (auto& argument : arguments) pointers.push_back(argument.data());
    pointers.push_back(nullptr);
    const int error = posix_spawn(&id_, pointers[0], &actions, nullptr, pointers.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    close(output[1]);
    close(given[0]);
    const bool written = write(given[1], input.data(), input.size()) == static_cast<ssize_t>(input.size());
    close(given[1]);
    if (error != 0 || !written) throw std::runtime_error("cannot run " + file);
  }
  ~Program() {
    if (!ended_) signal(SIGKILL);
    exitStatus();
    std::fclose(output_);
  }
  Program(const Program&) = delete;
  Program& operator=(const Program&) = delete;

  std::string line() {
    char text[1000] = "";
    return std::fgets(text, sizeof text, output_) ? text : "";
  }
  /// All that it prints until it ends.
  std::string rest() {
    std::string text;
    for (auto next = line(); !next.empty(); next = line()) text += next;
    return text;
  }
  void signal(int number) const { kill(id_, number); }
  /// -1 when it did not end by itself.
  int exitStatus() {
    if (!ended_) waitpid(id_, &status_, 0);
    ended_ = true;
    return WIFEXITED(status_) ? WEXITSTATUS(status_) : -1;
  }

 private:
  pid_t id_ = 0;
  int status_ = 0;
  bool ended_ = false;
  FILE* output_;
};

}  // namespace zul::test
