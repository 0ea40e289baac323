#include "Process.h"

#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <sstream>
#include <stdexcept>

#include "DevCollector.h"

namespace zul::bench {

namespace {

constexpr auto kPatience = std::chrono::hours(1);  // with a program that counts
constexpr auto kStart = std::chrono::seconds(30);

// What the collector's process does, until the input ends.
int collect() {
  collector::CollectorOptions options;
  options.keepBodies = false;
  collector::DevCollector collector(options);
  collector.start();
  const auto url = collector.baseUrl() + "\n";
  if (::write(STDOUT_FILENO, url.data(), url.size()) < 0) return 1;
  char byte = 0;
  while (::read(STDIN_FILENO, &byte, 1) > 0) {
  }
  collector.stop();
  return 0;
}

}  // namespace

std::string besideProgram(const std::string& name) {
  return (std::filesystem::read_symlink("/proc/self/exe").parent_path() / name).string();
}

std::string run(const std::vector<std::string>& command, const std::string& log) {
  test::Child program(command.at(0), {command.begin() + 1, command.end()}, log);
  program.closeInput();
  if (!program.ended(kPatience) || program.status() != 0) {
    throw std::runtime_error(command[0] + " failed: " + program.output());
  }
  return program.output();
}

Figures runHost(const std::string& role, const std::map<std::string, std::string>& options, const std::string& log) {
  std::vector<std::string> command = {besideProgram("zul-bench-host"), role};
  for (const auto& [name, value] : options) command.push_back(name + "=" + value);
  std::istringstream text(run(command, log));
  Figures figures;
  for (std::string line; std::getline(text, line);) {
    std::istringstream words(line);
    std::string name;
    words >> name;
    for (double number = 0; words >> number;) figures[name].push_back(number);
  }
  return figures;
}

Collector::Collector() : process_(collect), url_(process_.takeUpTo("\n", kStart)) {
  if (!url_.ends_with('\n')) throw std::runtime_error("the collector did not start");
  url_.pop_back();
}

}  // namespace zul::bench
