#include <gtest/gtest.h>
#include <signal.h>

#include <chrono>
#include <string>

#include "Child.h"

namespace zul::test {
namespace {

using namespace std::chrono_literals;

constexpr auto kPatience = 30s;

TEST(NtpProgramTest, OneServesAndAnotherAsksUntilTheyAreStopped) {
  Child server(ZUL_NTP, {"--serve", "120", "--port", "0", "127.0.0.1"});
  server.takeUpTo("serving at 127.0.0.1 port ", kPatience);
  auto port = server.takeUpTo("\n", kPatience);
  port.pop_back();
  Child asking(ZUL_NTP, {"--port", port, "--every", "0.5", "127.0.0.1"});
  EXPECT_TRUE(asking.readUpTo(
      "↓ [127.0.0.1] stratum=0; offset=inf±0.0mS\nnetwork offset 0.000000 s, not synchronized\n", kPatience))
      << asking.output();
  for (const auto* line :
       {"kNHNetworkTimeSyncCompleteNotification\n", "↑ [127.0.0.1] stratum=2; offset=-120.0±5.0mS\n"}) {
    EXPECT_TRUE(asking.readUpTo(line, kPatience)) << asking.output();
  }
  for (auto* program : {&asking, &server}) {
    program->signal(SIGTERM);
    EXPECT_EQ(program->exitStatus(), 0);
  }
}

TEST(NtpProgramTest, ItSaysWhatItCannotDo) {
  EXPECT_EQ(Child(ZUL_NTP, {"--version"}).exitStatus(), 0);
  Child nobody(ZUL_NTP, {});
  EXPECT_EQ(nobody.exitStatus(), 1);
  EXPECT_NE(nobody.output().find("HOST is required"), std::string::npos) << nobody.output();
  Child foreign(ZUL_NTP, {"--serve", "0", "--port", "0", "192.0.2.1"});
  EXPECT_EQ(foreign.exitStatus(), 1);
  EXPECT_NE(foreign.output().find("cannot serve at 192.0.2.1 port 0: "), std::string::npos) << foreign.output();
}

}  // namespace
}  // namespace zul::test
