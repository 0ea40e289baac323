#include "Process.h"

#include <chrono>
#include <filesystem>
#include <sstream>
#include <stdexcept>

namespace zul::bench {

namespace {

constexpr auto kPatience = std::chrono::hours(1);  // with a program that counts

std::string host() {
  return besideProgram("zul-bench-host");
}

std::vector<std::string> arguments(const std::string& role, const HostOptions& options) {
  std::vector<std::string> words = {role};
  for (const auto& [name, value] : options) words.push_back(name + "=" + value);
  return words;
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

Figures runHost(const std::string& role, const HostOptions& options, const std::string& log) {
  auto command = arguments(role, options);
  command.insert(command.begin(), host());
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

test::Child startHost(const std::string& role, const HostOptions& options) {
  return {host(), arguments(role, options), "/dev/null"};
}

}  // namespace zul::bench
