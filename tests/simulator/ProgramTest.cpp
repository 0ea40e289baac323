// The program: scripts, standard input and the prompt.

#include <gmock/gmock.h>
#include <poll.h>
#include <pty.h>

#include <filesystem>
#include <fstream>

#include "Child.h"

namespace zul {
namespace {

using test::Child;
using testing::HasSubstr;

TEST(ZulSim, AnErrorNamesLineCommandAndReasonAndEndsTheScript) {
  const std::string script = "# nothing yet\n\n  show clock /zone  # UTC\nexpect \"\" \"GMT\"\nshow clock\n";
  const std::string printed = "\"UTC\"\nzul-sim: line 4: expect: the whole is \"UTC\", and should be \"GMT\"\n";
  Child typed(ZUL_SIM_PROGRAM, {"--no-log"});
  typed.type(script);
  EXPECT_EQ(typed.exitStatus(), 1);
  EXPECT_EQ(typed.output(), printed);

  const auto file = std::filesystem::temp_directory_path() / ("zul-sim-" + std::to_string(getpid()));
  std::ofstream(file) << script;
  Child read(ZUL_SIM_PROGRAM, {"--no-log", file.string()});
  EXPECT_EQ(read.exitStatus(), 1);
  EXPECT_EQ(read.output(), printed);
  std::filesystem::remove(file);

  for (const auto& [arguments, reason] : std::vector<std::pair<std::vector<std::string>, std::string>>{
           {{"/nowhere.sim"}, "zul-sim: cannot read /nowhere.sim"},
           {{"/"}, "cannot read the script: Is a directory"},
           {{"--collektor"}, "--collektor"}}) {
    Child wrong(ZUL_SIM_PROGRAM, arguments);
    EXPECT_EQ(wrong.exitStatus(), 1);
    EXPECT_THAT(wrong.output(), HasSubstr(reason));
  }
}

TEST(ZulSim, TheLogGoesToStandardErrorUnlessItIsSwitchedOff) {
  Child logging(ZUL_SIM_PROGRAM, {});
  logging.type("launch background\n");
  EXPECT_EQ(logging.exitStatus(), 0);
  EXPECT_THAT(logging.output(), HasSubstr("initEnd pass in Background"));
  Child silent(ZUL_SIM_PROGRAM, {"--no-log"});
  silent.type("launch background\n");
  EXPECT_EQ(silent.exitStatus(), 0);
  EXPECT_EQ(silent.output(), "");
}

/// The program on a terminal.
class Terminal {
 public:
  Terminal() {
    id_ = forkpty(&terminal_, nullptr, nullptr, nullptr);
    if (id_ == 0) {
      setenv("TERM", "xterm", 1);
      execl(ZUL_SIM_PROGRAM, ZUL_SIM_PROGRAM, "--no-log", nullptr);
      _exit(127);
    }
  }
  ~Terminal() {
    close(terminal_);
    kill(id_, SIGKILL);
    waitpid(id_, nullptr, 0);
  }

  void type(const std::string& keys) {
    if (write(terminal_, keys.data(), keys.size()) != static_cast<ssize_t>(keys.size()))
      throw std::runtime_error("type");
  }
  /// All that is printed up to `end`, or within ten seconds.
  std::string until(const std::string& end) {
    pollfd poll{terminal_, POLLIN, 0};
    char piece[4096];
    while (printed_.find(end) == printed_.npos && ::poll(&poll, 1, 10'000) > 0) {
      const auto size = read(terminal_, piece, sizeof piece);
      if (size <= 0) break;
      printed_.append(piece, static_cast<std::size_t>(size));
    }
    const auto length = printed_.find(end) == printed_.npos ? printed_.size() : printed_.find(end) + end.size();
    const auto text = printed_.substr(0, length);
    printed_.erase(0, length);
    return text;
  }
  /// Types the end of the input, and gives the exit status; -1 when the program does not end within ten seconds. The
  /// key has its meaning only on an empty line, and while the prompt reads, a moment after it is seen; so the line is
  /// cleared, and the key pressed, until it works.
  int end() {
    int status = 0;
    for (int n = 0; n < 100; ++n) {
      static_cast<void>(!write(terminal_, "\x15\x04", 2));
      usleep(100'000);
      if (waitpid(id_, &status, WNOHANG) == id_) return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }
    return -1;
  }

 private:
  int terminal_ = -1;
  std::string printed_;  // and not asked for yet
  pid_t id_ = -1;
};

TEST(ZulSim, ThePromptCompletesRemembersAndGoesOnAfterAnError) {
  Terminal terminal;
  terminal.until("zul> ");
  terminal.type("sh\tcl\t\r");
  EXPECT_THAT(terminal.until("zul> "), HasSubstr("\"zone\" : \"UTC\""));
  terminal.type("lunch\r");
  EXPECT_THAT(terminal.until("zul> "), HasSubstr("zul-sim: line 2: lunch: there is no such command"));
  terminal.type("\x1b[A\x1b[A\r");  // two lines up
  EXPECT_THAT(terminal.until("zul> "), HasSubstr("\"zone\" : \"UTC\""));
  terminal.type("document Tést {\"a\":\"한국\"}\rshow document Tést /a\r");
  EXPECT_THAT(terminal.until("\"한국\"\r\n"), HasSubstr("\r\n\"한국\"\r\n"));
  EXPECT_EQ(terminal.end(), 0);
}

}  // namespace
}  // namespace zul
