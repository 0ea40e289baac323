// The program: its ready line, its way out and its error messages.

#include <gmock/gmock.h>

#include <csignal>
#include <string>
#include <vector>

#include "Child.h"
#include "CollectorClient.h"
#include "RunningCollector.h"
#include "TemporaryFolder.h"

namespace zul::collector {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

TEST(ProgramTest, ListensUntilToldToEnd) {
  const test::TemporaryFolder folder;
  folder.write("answers", R"({"token":[{"body":"scripted"}], "upload":[{"delay":3600000}]})");
  for (const int number : {SIGTERM, SIGINT}) {
    test::Child program(ZUL_COLLECTOR_PROGRAM, {"--listen", "127.0.0.1:0", "--answers", folder.path("answers")});
    ASSERT_TRUE(program.readUpTo("\n", patience));
    const auto ready = program.output();
    const std::string beginning = "listening on http://127.0.0.1:";
    ASSERT_THAT(ready, StartsWith(beginning));
    const int port = std::stoi(ready.substr(beginning.size()));
    EXPECT_EQ(ask(port, goodRequest(Endpoint::token))->body, "\"scripted\"");
    CollectorClient waiting(port);
    waiting.send(goodRequest(Endpoint::upload).text());
    program.signal(number);
    EXPECT_EQ(program.exitStatus(), 0);
  }
}

// Its lines go to a pipe that nobody reads, in the end to one that nobody can read.
TEST(ProgramTest, PrintsALineForEachRequestAndWaitsForNoReader) {
  test::Child program(ZUL_COLLECTOR_PROGRAM, {"--listen", "127.0.0.1:0", "--keep", "10"});
  ASSERT_TRUE(program.readUpTo("\n", patience));
  const auto ready = program.output();
  const int port = std::stoi(ready.substr(ready.rfind(':') + 1));
  auto hostile = goodRequest(Endpoint::upload);
  hostile.body = uploadBodyOf("[{\"SESSION\":{\"uuid\":\"\\u001b[2Jx\",\"ltvt\":7}}]");
  ask(port, hostile);
  ASSERT_TRUE(program.readUpTo("more\n", patience));
  EXPECT_THAT(program.output(), HasSubstr("upload      ?[2Jx , visit 7, 1 payload, suspicious: "));
  CollectorClient client(port);
  for (int i = 0; i < 5000; ++i) ASSERT_EQ(client.ask({"GET", "/" + std::string(300, 'x'), {}, ""})->status, 404);
}

TEST(ProgramTest, ServesAgainAfterDescriptorsWereShort) {
#ifdef __SANITIZE_ADDRESS__
  GTEST_SKIP()
      << "the undefined-behaviour sanitizer needs a descriptor to look at an object, and takes its lack for a bad one";
#endif
  test::Child program("/bin/sh", {"-c", "ulimit -n 24; exec \"$0\" --listen 127.0.0.1:0", ZUL_COLLECTOR_PROGRAM});
  ASSERT_TRUE(program.readUpTo("\n", patience));
  const auto ready = program.output();
  const int port = std::stoi(ready.substr(ready.rfind(':') + 1));
  {
    std::vector<CollectorClient> clients;
    for (int i = 0; i < 40; ++i) clients.emplace_back(port);
    ASSERT_TRUE(program.readUpTo("new connections wait: Too many open files\n", patience));
  }
  const auto reply = ask(port, goodRequest(Endpoint::token));
  ASSERT_TRUE(reply);
  EXPECT_EQ(reply->status, 200);
}

TEST(ProgramTest, ErrorsAreToldWithStatusOne) {
  const test::RunningCollector other;
  const std::pair<std::vector<std::string>, std::string> cases[] = {
      {{}, "--listen is required"},
      {{"--listen", "8080"}, "\"8080\" is not of the form HOST:PORT"},
      {{"--listen", ":8080"}, "not of the form"},
      {{"--listen", "127.0.0.1:http"}, "not of the form"},
      {{"--listen", "127.0.0.1:65536"}, "not of the form"},
      {{"--listen", other.host()}, "Address already in use"},
      {{"--listen", "127.0.0.1:0", "--answers", "/nowhere"}, "cannot read /nowhere"},
      {{"--listen", "127.0.0.1:0", "--answers", "/"}, "cannot read /"},
      {{"--listen", "127.0.0.1:0", "--answers", "/dev/null"}, "answers: the whole"},
      {{"--listen", "127.0.0.1:0", "--record", "/nowhere/file"}, "record file /nowhere/file: No such file"},
      {{"--listen", "127.0.0.1:0", "--tls-cert", "/nowhere"}, "needs its key"},
      {{"--listen", "127.0.0.1:0", "--tls-key", "/nowhere"}, "needs its certificate"},
  };
  for (const auto& [arguments, message] : cases) {
    test::Child program(ZUL_COLLECTOR_PROGRAM, arguments);
    EXPECT_EQ(program.exitStatus(), 1) << message;
    EXPECT_THAT(program.output(), HasSubstr(message));
  }
}

}  // namespace
}  // namespace zul::collector
