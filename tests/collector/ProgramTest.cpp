// The program: its ready line, its way out and its error messages.

#include <fcntl.h>
#include <gmock/gmock.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "CollectorClient.h"

namespace zul::collector {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

/// The program as a child; what it prints, to either stream, comes through one pipe.
class Program {
 public:
  explicit Program(std::vector<std::string> arguments) {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) throw std::runtime_error("pipe");
    output_ = fdopen(ends[0], "r");
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, ends[1], 1);
    posix_spawn_file_actions_adddup2(&actions, ends[1], 2);
    arguments.insert(arguments.begin(), ZUL_COLLECTOR_PROGRAM);
    std::vector<char*> pointers;
    for (auto& argument : arguments) pointers.push_back(argument.data());
    pointers.push_back(nullptr);
    const int error = posix_spawn(&id_, pointers[0], &actions, nullptr, pointers.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    close(ends[1]);
    if (error != 0) throw std::runtime_error("posix_spawn");
  }
  ~Program() {
    if (!ended_) signal(SIGKILL);
    exitStatus();
    std::fclose(output_);
  }

  std::string line() {
    char text[1000] = "";
    return std::fgets(text, sizeof text, output_) ? text : "";
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

TEST(ProgramTest, ListensUntilToldToEnd) {
  const auto answers = std::filesystem::temp_directory_path() / ("collector-answers-" + std::to_string(getpid()));
  std::ofstream(answers) << R"({"token":[{"body":"scripted"}], "upload":[{"delay":3600000}]})";
  for (const int number : {SIGTERM, SIGINT}) {
    Program program({"--listen", "127.0.0.1:0", "--answers", answers.string()});
    const auto ready = program.line();
    const std::string beginning = "listening on http://127.0.0.1:";
    ASSERT_THAT(ready, StartsWith(beginning));
    const int port = std::stoi(ready.substr(beginning.size()));
    EXPECT_EQ(ask(port, goodRequest(Endpoint::token))->body, "\"scripted\"");
    CollectorClient waiting(port);
    waiting.send(goodRequest(Endpoint::upload).text());
    program.signal(number);
    EXPECT_EQ(program.exitStatus(), 0);
  }
  std::filesystem::remove(answers);
}

TEST(ProgramTest, ErrorsAreToldWithStatusOne) {
  DevCollector other;
  other.start();
  const auto here = "127.0.0.1:" + std::to_string(other.port());
  const std::pair<std::vector<std::string>, std::string> cases[] = {
      {{}, "--listen is required"},
      {{"--listen", "8080"}, "\"8080\" is not of the form HOST:PORT"},
      {{"--listen", ":8080"}, "not of the form"},
      {{"--listen", "127.0.0.1:http"}, "not of the form"},
      {{"--listen", "127.0.0.1:65536"}, "not of the form"},
      {{"--listen", here}, "Address already in use"},
      {{"--listen", "127.0.0.1:0", "--answers", "/nowhere"}, "cannot read /nowhere"},
      {{"--listen", "127.0.0.1:0", "--answers", "/"}, "cannot read /"},
      {{"--listen", "127.0.0.1:0", "--answers", "/dev/null"}, "answers: the whole"},
      {{"--listen", "127.0.0.1:0", "--record", "/nowhere/file"}, "record file /nowhere/file: No such file"},
      {{"--listen", "127.0.0.1:0", "--tls-cert", "/nowhere"}, "needs its key"},
      {{"--listen", "127.0.0.1:0", "--tls-key", "/nowhere"}, "needs its certificate"},
  };
  for (const auto& [arguments, message] : cases) {
    Program program(arguments);
    EXPECT_THAT(program.line(), HasSubstr(message));
    EXPECT_EQ(program.exitStatus(), 1) << message;
  }
}

}  // namespace
}  // namespace zul::collector
