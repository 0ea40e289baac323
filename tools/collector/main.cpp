// zul-collector: the development collector as a program. Listens until SIGINT or SIGTERM.

#include <fmt/format.h>
#include <sys/resource.h>

#include <charconv>
#include <csignal>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>

#include "CommandLine.h"
#include "DevCollector.h"
#include "TerminalLog.h"

namespace {

/// Splits "host:port"; an IPv6 address stands in brackets.
void readAddress(const std::string& text, zul::collector::CollectorOptions& options) {
  const auto colon = text.rfind(':');
  const auto digits = colon == text.npos ? std::string() : text.substr(colon + 1);
  const auto* end = digits.data() + digits.size();
  const auto [at, error] = std::from_chars(digits.data(), end, options.port);
  options.host = text.substr(0, colon);
  if (options.host.starts_with('[') && options.host.ends_with(']')) {
    options.host = options.host.substr(1, options.host.size() - 2);
  }
  if (options.host.empty() || error != std::errc{} || at != end || options.port < 0 || options.port > 65535) {
    throw std::invalid_argument(fmt::format("\"{}\" is not of the form HOST:PORT", text));
  }
}

std::string readFile(const std::string& name) {
  // A directory opens well enough, too.
  std::ifstream file(name, std::ios::binary);
  if (!file || std::filesystem::is_directory(name)) throw std::runtime_error("cannot read " + name);
  return {std::istreambuf_iterator<char>(file), {}};
}

/// A connection takes a descriptor, and the usual limit on them is for programs that use select().
void raiseDescriptorLimit() {
  rlimit files{};
  if (getrlimit(RLIMIT_NOFILE, &files) != 0) return;
  files.rlim_cur = files.rlim_max;
  setrlimit(RLIMIT_NOFILE, &files);
}

}  // namespace

int main(int argc, char** argv) {
  auto line = zul::collector::readCommandLine(argc, argv);
  if (line.exitStatus) return *line.exitStatus;

  // Blocked before any thread exists, so that the signals wait for sigwait() below.
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGINT);
  sigaddset(&signals, SIGTERM);
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);

  std::signal(SIGPIPE, SIG_IGN);  // whoever read the lines may have gone
  raiseDescriptorLimit();
  try {
    readAddress(line.address, line.options);
    if (!line.quiet) line.options.onRecorded = zul::collector::printRequest;
    zul::collector::DevCollector collector(line.options);
    if (!line.answersFile.empty()) collector.setAnswers(readFile(line.answersFile));
    collector.start();
    fmt::print("listening on {}\n", collector.baseUrl());
    std::fflush(stdout);
    int signal = 0;
    sigwait(&signals, &signal);
    collector.stop();
  } catch (const std::exception& error) {
    fmt::print(stderr, "zul-collector: {}\n", error.what());
    return 1;
  }
  return 0;
}
