// A host that dies: of a kill in the middle of its work, or because it exits at a bad moment.
//
//   fault-host report FIRST MOST   reports MOST numbered events, each of whose numbers it writes to standard
//                                  output once the report has returned; then waits for standard input to end
//   fault-host exit MICROSECONDS   starts the library, keeps two threads busy with it, and exits
//   ... --collector URL --lookup HOST --ca FILE --data FOLDER --bundle FOLDER --later SECONDS --pace FACTOR --how HOW
//
// HOW is one of "return", "exit", "thread" (exits from another thread), "late" (does not start the library before
// main has returned) and "cipher" (uses OpenSSL itself, between the library's making and its start).

#include <fcntl.h>
#include <openssl/crypto.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <thread>

#include "Events.h"
#include "HostPlatform.h"
#include "Runtime.h"
#include "Tracker.h"
#include "zul/Application.h"
#include "zul/User.h"
#include "zul/ZULSession.h"
#include "zul/platform/LogSink.h"

namespace zul {
namespace {

/// Errors alone, on standard error.
class ErrorLog final : public platform::LogSink {
 public:
  void write(std::string_view line) noexcept override {
    if (line.find("| QuorLog / E |") == line.npos || line.find("did not reach the collector") != line.npos ||
        line.find("The fingerprint page at") != line.npos) {
      return;
    }
    [[maybe_unused]] const auto written = ::write(STDERR_FILENO, line.data(), line.size());
  }
};

/// An object that still reports while the host's objects are being destroyed.
struct LastWords {
  ~LastWords() {
    ZULSession::sendTransaction();
    ZULSession::getSessionData();
    ZULSession::checkNewSession();
    ZULSession::getAttributedInfo([](const Dictionary&) {});
    ZULSession::initialization(std::nullopt, Application{});
  }
};
LastWords afterTheLibrary;  // made before the library, hence destroyed after the library has stopped

void say(const std::string& text) {
  if (::write(STDOUT_FILENO, text.data(), text.size()) < 0) _exit(3);
}

void report(test::ShiftedClock& clock, int first, int most) {
  std::thread([] {
    while (true) {
      ZULSession::getSessionData();
      ZULSession::checkNewSession();
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
  }).detach();
  // Until the start-up has begun its session, too: a clock set forward in the middle of that would tear its times
  // apart.
  while (!ZULSession::getZULSessionInitYN() || ZULSession::checkNewSession()) {
    std::this_thread::sleep_for(std::chrono::microseconds(200));
  }
  std::mt19937 random(static_cast<unsigned>(first));
  for (int number = first; number < first + most; ++number) {
    if (number % 7 == 5) clock.add(SessionController::kSessionSeconds + 100);
    test::reportEvent(Tracker::sharedInstance(), number);
    say(std::to_string(number) + "\n");
    std::this_thread::sleep_for(std::chrono::microseconds(random() % 4000));
  }
  char byte = 0;
  while (::read(STDIN_FILENO, &byte, 1) > 0) {
  }
}

void keepBusy() {
  std::thread([] {
    while (true) {
      ZULSession::sendTransaction();
      ZULSession::setUser(User{});
      ZULSession::getSessionData();
      ZULSession::getAttributedInfo([](const Dictionary&) {});
      std::this_thread::sleep_for(std::chrono::microseconds(500));
    }
  }).detach();
}

void start() {
  ZULSession::initializationForDeferredCallback(std::nullopt, Application{}, [] {});
}

}  // namespace
}  // namespace zul

int main(int argc, char** argv) {
  using namespace zul;
  std::map<std::string, std::string> options{{"--pace", "1"}, {"--later", "0"}, {"--how", "return"}};
  int at = 1;
  std::vector<std::string> words;
  for (; at < argc && std::string_view(argv[at]).substr(0, 2) != "--"; ++at) words.emplace_back(argv[at]);
  for (; at + 1 < argc; at += 2) options[argv[at]] = argv[at + 1];
  if (words.size() < 2) return 2;

  test::HostPlatform host({.data = options["--data"],
                           .bundle = options["--bundle"],
                           .collector = options["--collector"],
                           .lookup = options["--lookup"],
                           .caFile = options["--ca"],
                           .later = std::stod(options["--later"]),
                           .pace = std::stod(options["--pace"]),
                           .log = std::make_shared<ErrorLog>()});
  const auto clock = host.clock;
  ZULSession::setPlatform(std::move(host.platform));

  const auto how = options["--how"];
  if (words[0] == "report") {
    start();
    report(*clock, std::stoi(words[1]), std::stoi(words.at(2)));
    return 0;
  }
  if (how == "cipher") {  // the host is OpenSSL's first user, after the library has been made
    ZULSession::getZULSessionInitYN();
    OPENSSL_init_crypto(0, nullptr);
  }
  if (how != "late") {
    start();
    // Destroyed while the library still works: what waits for the network then, waits.
    if (options["--lookup"] != options["--silent"]) static LastWords beforeTheLibrary;
    keepBusy();
    keepBusy();
  }
  std::this_thread::sleep_for(std::chrono::microseconds(std::stoi(words[1])));
  say("x");
  if (how == "exit") std::exit(0);
  if (how == "thread") {
    std::thread([] { std::exit(0); }).detach();
    while (true) ZULSession::sendTransaction();
  }
  return 0;
}
