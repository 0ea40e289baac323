// The program: scripts, standard input and the prompt.

#include <gmock/gmock.h>

#include "Child.h"
#include "TemporaryFolder.h"

namespace zul {
namespace {

using test::Child;
using testing::HasSubstr;
using namespace std::chrono_literals;

struct Outcome {
  int status;
  std::string output;
};

Outcome run(const std::vector<std::string>& arguments, const std::string& input = "") {
  Child program(ZUL_SIM_PROGRAM, arguments);
  program.type(input);
  program.closeInput();
  const int status = program.exitStatus();
  return {status, program.output()};
}

TEST(ZulSim, AnErrorNamesLineCommandAndReasonAndEndsTheScript) {
  const std::string script = "# nothing yet\n\n  show clock /zone  # UTC\nexpect \"\" \"GMT\"\nshow clock\n";
  const std::string printed = "\"UTC\"\nzul-sim: line 4: expect: the whole is \"UTC\", and should be \"GMT\"\n";
  const test::TemporaryFolder folder;
  folder.write("script", script);
  for (const auto& [status, output] : {run({"--no-log"}, script), run({"--no-log", folder.path("script")})}) {
    EXPECT_EQ(status, 1);
    EXPECT_EQ(output, printed);
  }

  for (const auto& [argument, reason] :
       std::vector<std::pair<std::string, std::string>>{{"/nowhere.sim", "zul-sim: cannot read /nowhere.sim"},
                                                        {"/", "cannot read the script: Is a directory"},
                                                        {"--collektor", "--collektor"}}) {
    const auto wrong = run({argument});
    EXPECT_EQ(wrong.status, 1);
    EXPECT_THAT(wrong.output, HasSubstr(reason));
  }
}

TEST(ZulSim, CommandsOnTheCommandLine) {
  const auto explained = run({"explain", "ltvt"}, "launch\n");
  EXPECT_EQ(explained.status, 0);
  EXPECT_THAT(explained.output, HasSubstr("\"documentKey\":\"lifeCriteriaVisit\""));
  const auto unknown = run({"explain", "ltvx"});
  EXPECT_EQ(unknown.status, 1);
  EXPECT_EQ(unknown.output, "zul-sim: explain: there is no key ltvx; did you mean ltvt?\n");
  const auto nowhere = run({"--no-log", "open", "/nowhere at all"}, "launch\n");
  EXPECT_EQ(nowhere.status, 1);
  EXPECT_EQ(nowhere.output, "zul-sim: open: /nowhere at all is no folder\n");
}

TEST(ZulSim, QuitEndsAScriptAndWhatIsLeftIsTold) {
  const auto quit = run({"--no-log"}, "launch callback\nadvance 5s\nquit\nshow clock\n");
  EXPECT_EQ(quit.status, 0);
  EXPECT_THAT(quit.output, testing::AllOf(HasSubstr("\"deferred\""), testing::Not(HasSubstr("zone"))));
}

TEST(ZulSim, TheLogGoesToStandardErrorUnlessItIsSwitchedOff) {
  const auto logging = run({}, "launch background\n");
  EXPECT_EQ(logging.status, 0);
  EXPECT_THAT(logging.output, HasSubstr("initEnd pass in Background"));
  const auto silent = run({"--no-log"}, "launch background\n");
  EXPECT_EQ(silent.status, 0);
  EXPECT_EQ(silent.output, "");
}

// The key that ends the input has its meaning only on an empty line, and while the prompt reads, a moment after it is
// seen; so the line is cleared, and the key pressed, until it works.
int pressTheEndKey(Child& program) {
  for (int n = 0; n < 100; ++n) {
    program.type("\x15\x04");
    if (program.ended(100ms)) break;
  }
  return program.exitStatus();
}

TEST(ZulSim, ThePromptCompletesRemembersAndGoesOnAfterAnError) try {
  auto program = Child::onTerminal(ZUL_SIM_PROGRAM, {"--no-log"});
  const auto answer = [&](const std::string& keys, const std::string& end = "zul> ") {
    EXPECT_TRUE(program.type(keys));
    return program.takeUpTo(end, 10s);
  };
  answer("");
  EXPECT_THAT(answer("sh\tcl\t\r"), HasSubstr("\"zone\" : \"UTC\""));
  EXPECT_THAT(answer("lunch\r"), HasSubstr("zul-sim: line 2: lunch: there is no such command"));
  EXPECT_THAT(answer("\x1b[A\x1b[A\r"), HasSubstr("\"zone\" : \"UTC\""));  // two lines up
  EXPECT_THAT(answer("document Tést {\"a\":\"한국\"}\rshow document Tést /a\r", "\"한국\"\r\n"),
              HasSubstr("\r\n\"한국\"\r\n"));
  EXPECT_EQ(pressTheEndKey(program), 0);
} catch (const test::NoTerminal& reason) {
  GTEST_SKIP() << reason.what();
}

TEST(ZulSim, CtrlCEndsACommandOrClearsTheLineAndQuitEndsTheDevice) try {
  auto program = Child::onTerminal(ZUL_SIM_PROGRAM, {"--no-log"});
  const auto answer = [&](const std::string& keys, const std::string& end = "zul> ") {
    EXPECT_TRUE(program.type(keys));
    return program.takeUpTo(end, 10s);
  };
  answer("");
  EXPECT_THAT(answer("launch\radvance 300000d\r", "advance 300000d\r\n"), HasSubstr("advance"));
  // The key has its meaning once the terminal is the command's, a moment after what is typed is seen.
  for (int n = 0; n < 100 && program.output().find("interrupted") == std::string::npos; ++n) {
    program.type("\x03");
    program.readUpTo("interrupted", 100ms);
  }
  EXPECT_THAT(answer("", "zul> "), HasSubstr("zul-sim: line 2: advance: interrupted"));
  EXPECT_THAT(answer("lunch \x03", "^C\r\nzul> "), HasSubstr("^C"));
  EXPECT_THAT(answer("show clock /zone\r"), HasSubstr("\r\n\"UTC\"\r\n"));
  EXPECT_TRUE(program.type("quit\r"));
  EXPECT_EQ(program.exitStatus(), 0);
} catch (const test::NoTerminal& reason) {
  GTEST_SKIP() << reason.what();
}

}  // namespace
}  // namespace zul
