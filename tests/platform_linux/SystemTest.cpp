#include <dlfcn.h>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <thread>

#include "Child.h"
#include "Descriptor.h"
#include "LinuxUserDefaults.h"
#include "NetlinkReachability.h"
#include "StderrSink.h"
#include "TemporaryFolder.h"
#include "zul/Platform.h"
#include "zul/platform/Bundle.h"
#include "zul/platform/DocumentStore.h"
#include "zul/platform/Keychain.h"
#include "zul/platform/LogSink.h"
#include "zul/platform/UserDefaults.h"

namespace zul::platform {
namespace {

using test::Descriptor;
using test::TemporaryFolder;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::Not;

TEST(LinuxUserDefaults, KeepsValuesAcrossRestarts) {
  const TemporaryFolder folder;
  const std::string file = folder.path("made/defaults.json");
  {
    LinuxUserDefaults defaults(file);
    EXPECT_FALSE(defaults.number("offset"));
    defaults.setNumber("offset", -1.0000000001);
    defaults.setNumber("whole", 7);
    defaults.setNumber("gone", 1);
    defaults.setNumber("gone", std::nan(""));
  }
  LinuxUserDefaults defaults(file);
  EXPECT_EQ(defaults.number("offset"), -1.0000000001);
  EXPECT_EQ(defaults.number("whole"), 7);
  EXPECT_FALSE(defaults.number("gone"));

  struct stat info {};
  ASSERT_EQ(stat(file.c_str(), &info), 0);
  EXPECT_EQ(info.st_mode & 0777, 0600u);
  ASSERT_EQ(stat(folder.path("made").c_str(), &info), 0);
  EXPECT_EQ(info.st_mode & 0777, 0700u);

  for (const char* broken : {"", "{\"offset\":", "[1]", "{\"offset\":\"text\"}"}) {
    folder.write("made/defaults.json", broken);
    LinuxUserDefaults poisoned(file);
    EXPECT_FALSE(poisoned.number("offset")) << broken;
    poisoned.setNumber("offset", 3);
    EXPECT_EQ(LinuxUserDefaults(file).number("offset"), 3);
  }
}

TEST(NetlinkReachability, KnowsThisMachineAndTheRouteToTheWorld) {
  NetlinkReachability reachability(std::make_shared<SystemBus>());
  for (const char* host : {"localhost", "LOCALHOST", "collector.localhost", "127.0.0.1", "127.9.9.9", "::1"}) {
    EXPECT_EQ(reachability.flags(host), Reachability::kReachable) << host;
  }
  EXPECT_EQ(reachability.flags("collector.example"), reachability.flags("127.0.0.1.example"));
}

TEST(NetlinkReachability, SeesThatThereIsNoRoute) {
  // A network of its own has no route at all.
  test::Child child([] {
    if (unshare(CLONE_NEWUSER | CLONE_NEWNET) != 0 && unshare(CLONE_NEWNET) != 0) return 2;
    return NetlinkReachability(std::make_shared<SystemBus>()).flags("collector.example") == 0u ? 0 : 1;
  });
  const int status = child.exitStatus();
  if (status == 2) GTEST_SKIP() << "no network of its own to be had here";
  EXPECT_EQ(status, 0);
}

/// The standard error stream leads elsewhere for as long as this lives.
class Redirected {
 public:
  explicit Redirected(const Descriptor& to) : before_(dup(STDERR_FILENO), "dup") { lead(to); }
  ~Redirected() { lead(before_); }
  Redirected(const Redirected&) = delete;
  Redirected& operator=(const Redirected&) = delete;

 private:
  static void lead(const Descriptor& to) { EXPECT_EQ(dup2(to.get(), STDERR_FILENO), STDERR_FILENO); }

  const Descriptor before_;
};

TEST(StderrSink, KeepsLinesWholeAndOutlivesItsReader) {
  const TemporaryFolder folder;
  StderrSink sink;
  {
    const Descriptor file(open(folder.path("log").c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600), "log");
    const Redirected redirected(file);
    std::vector<std::thread> writers;
    for (int i = 0; i < 3; ++i) {
      writers.emplace_back([&] {
        for (int line = 0; line < 100; ++line) sink.write("a line of the log\n");
      });
    }
    for (auto& writer : writers) writer.join();
  }
  std::ifstream log(folder.path("log"));
  std::vector<std::string> lines;
  for (std::string line; std::getline(log, line);) lines.push_back(line);
  EXPECT_EQ(lines.size(), 300u);
  EXPECT_THAT(lines, Each("a line of the log"));

  test::Pipe pipe;
  pipe.read.close();
  {
    const Redirected redirected(pipe.write);
    sink.write("nobody reads this\n");  // SIGPIPE would end the test here
    sink.write("nor this\n");
  }
  sigset_t pending;
  sigpending(&pending);
  EXPECT_EQ(sigismember(&pending, SIGPIPE), 0);
}

TEST(StderrSink, EndsALineThatAFullPipeHasCut) {
  test::Pipe pipe;
  ASSERT_EQ(fcntl(pipe.write.get(), F_SETFL, O_NONBLOCK), 0);
  std::string text(1 << 20, ' ');
  const auto drained = [&] {
    return text.substr(0, static_cast<std::size_t>(read(pipe.read.get(), text.data(), text.size())));
  };
  StderrSink sink;
  const Redirected redirected(pipe.write);
  sink.write(std::string(300'000, 'x') + '\n');
  sink.write("dropped, for the pipe is full\n");
  EXPECT_EQ(drained().find_first_not_of('x'), std::string::npos);
  sink.write("one\n");
  sink.write("two\n");
  EXPECT_EQ(drained(), "\none\ntwo\n");
}

TEST(LinuxPlatform, OutlivesThePluginThatStartedIt) {
  const TemporaryFolder folder;
  test::Child host([&] {
    void* const plugin = dlopen(ZUL_UNLOADED_PLUGIN, RTLD_NOW | RTLD_LOCAL);
    if (plugin == nullptr) return 2;
    reinterpret_cast<void (*)(const char*)>(dlsym(plugin, "startLibrary"))(folder.path().c_str());
    if (dlclose(plugin) != 0) return 3;
    if (dlopen(ZUL_UNLOADED_PLUGIN, RTLD_NOW | RTLD_NOLOAD) != nullptr) return 4;
    usleep(1'500'000);  // the threads go on, the session's timer among them
    return 0;
  });
  EXPECT_EQ(host.exitStatus(), 0);
}

TEST(LinuxPlatform, TakesTheConfigurationAndTheLogInCode) {
  const TemporaryFolder folder;
  folder.write("Info.plist", "no plist");
  LinuxOptions options;
  options.applicationId = "com.example.options";
  options.bundleFolder = folder.path();
  EXPECT_EQ(linuxPlatform(options).bundle->lastError(), "not a property list");
  EXPECT_EQ(linuxPlatform(options).bundle->infoName(), folder.path("Info.plist"));
  EXPECT_THAT(linuxPlatform("").bundle->infoName(), testing::EndsWith("Info.plist (there is no such file)"));

  std::string log;
  options.info.set("CFBundleIdentifier", "com.example.code");
  options.logLevel = LogLevel::error;
  options.logTarget = [&](std::string_view line) {
    log += line;
    throw std::runtime_error("the host's own affair");
  };
  const auto pieces = linuxPlatform(options);
  EXPECT_EQ(pieces.bundle->lastError(), "");
  EXPECT_EQ(pieces.bundle->bundleIdentifier(), "com.example.code");
  EXPECT_EQ(pieces.logLevel, LogLevel::error);
  pieces.log->write("a line\n");
  EXPECT_EQ(log, "a line\n");
}

TEST(LinuxPlatform, StaysInItsFoldersAndStartsNothing) {
  const TemporaryFolder folder;
  setenv("XDG_DATA_HOME", folder.path("data").c_str(), 1);
  setenv("XDG_CONFIG_HOME", folder.path("config").c_str(), 1);
  const Platform pieces = linuxPlatform("../../outside");
  EXPECT_TRUE(std::filesystem::is_empty(folder.path()));

  EXPECT_EQ(pieces.store->load(DocumentStore::Table::documents, "none").status, DocumentStore::Status::ok);
  pieces.userDefaults->setNumber("key", 1);
  EXPECT_TRUE(std::filesystem::is_directory(folder.path("data/___.._outside")));
  EXPECT_TRUE(std::filesystem::exists(folder.path("config/___.._outside/defaults.json")));
  EXPECT_EQ(pieces.keychain->SecItemAdd({}), Keychain::Status::ok);
  EXPECT_TRUE(std::filesystem::exists(folder.path("data/___.._outside-keychain.sqlite")));
  EXPECT_EQ(pieces.bundle->bundleIdentifier(), "../../outside");

  LinuxOptions options;
  options.dataFolder = folder.path("given");
  linuxPlatform(options).userDefaults->setNumber("key", 1);
  EXPECT_TRUE(std::filesystem::exists(folder.path("given/defaults.json")));
  // However the folder is written, its removal leaves the keychain.
  for (const std::string given : {"with space", "slash//", "inner/.", "inner/../other"}) {
    options.dataFolder = folder.path(given);
    EXPECT_EQ(linuxPlatform(options).keychain->SecItemAdd({}), Keychain::Status::ok) << given;
  }
  for (const std::string made : {"with space", "slash", "inner", "other"}) {
    EXPECT_TRUE(std::filesystem::exists(folder.path(made + "-keychain.sqlite"))) << made;
  }
  options.keychainFile = folder.path("named");
  EXPECT_EQ(linuxPlatform(options).keychain->SecItemAdd({}), Keychain::Status::ok);
  EXPECT_TRUE(std::filesystem::exists(folder.path("named")));

  // Who gives no name is told what stands for it, and where that leads.
  EXPECT_EQ(pieces.bundle->remark(), "");
  const auto nameless = linuxPlatform("");
  EXPECT_EQ(nameless.bundle->bundleIdentifier(), program_invocation_short_name);
  EXPECT_THAT(nameless.bundle->remark(), testing::HasSubstr(folder.path("data/") + program_invocation_short_name));

  EXPECT_GT(pieces.deployment.ntpHosts.size(), 1u);
  EXPECT_THAT(pieces.deployment.ntpHosts, Each(Not(testing::ContainsRegex("[;, ]|^$"))));
}

}  // namespace
}  // namespace zul::platform
