// zul-sim: a simulated device with the library on it, commanded from a script, standard input or a prompt.

#include <fmt/format.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <optional>
#include <stdexcept>
#include <string>

#include "Json.h"
#include "Prompt.h"
#include "Simulator.h"

namespace {

using namespace zul;

// To a person, indented; to a program, one line a value.
void print(const boost::json::value& value, bool indent) {
  std::string text = json::text(value);
  if (indent) {
    std::string indented;
    json::appendPretty(indented, text, 0);
    text.swap(indented);
  }
  text += '\n';
  std::fwrite(text.data(), 1, text.size(), stdout);
  std::fflush(stdout);
}

std::string commandName(const std::string& line) {
  const auto begin = std::min(line.find_first_not_of(" \t"), line.size());
  return line.substr(begin, line.find_first_of(" \t\r", begin) - begin);
}

// False when the line could not be run.
bool run(simulator::Simulator& simulator, const std::string& line, int number) {
  try {
    simulator.run(line);
    return true;
  } catch (const std::exception& error) {
    fmt::print(stderr, "zul-sim: line {}: {}: {}\n", number, commandName(line), error.what());
    return false;
  }
}

bool runScript(simulator::Simulator& simulator, std::istream& script, bool transcript) {
  std::string line;
  for (int number = 1; std::getline(script, line); ++number) {
    if (transcript) {
      fmt::print("{}{}\n", line.empty() ? "" : simulator::kPrompt, line);
      std::fflush(stdout);
    }
    if (!run(simulator, line, number)) return false;
  }
  return true;
}

void runPrompt(simulator::Simulator& simulator) {
  for (int number = 1;; ++number) {
    const auto line = simulator::promptLine();
    if (!line) break;
    run(simulator, *line, number);
  }
  fmt::print("\n");
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app("A device in a terminal: runs the library in virtual time, commanded by a script.");
  app.footer("Without a script the commands come from standard input. The command help lists them.");
  simulator::SimulatorOptions options;
  std::string scriptFile;
  app.add_option("script", scriptFile, "a file of commands, one a line")->type_name("FILE");
  auto* const collector = app.add_option("--collector", options.collectorUrl, "a real collector, asked in real time")
                              ->type_name("URL")
                              ->check([](const std::string& url) {
                                const bool known = url.starts_with("http://") || url.starts_with("https://");
                                return std::string(known ? "" : "must begin with http:// or https://");
                              });
  app.add_option("--ca", options.caFile, "PEM file of the authority that vouches for it")
      ->type_name("FILE")
      ->check(CLI::ExistingFile)
      ->needs(collector);
  bool noLog = false;
  app.add_flag("--no-log", noLog, "keep the library's log off standard error");
  bool transcript = false;
  app.add_flag("--transcript", transcript, "print commands and values as they would stand on a terminal");
  try {
    app.parse(argc, argv);
    options.printLog = !noLog;
    const bool indent = transcript || isatty(STDOUT_FILENO) != 0;
    simulator::Simulator simulator(options, [indent](const auto& value) { print(value, indent); });
    if (!scriptFile.empty()) {
      std::ifstream script(scriptFile);
      if (!script || std::filesystem::is_directory(scriptFile)) throw std::runtime_error("cannot read " + scriptFile);
      return runScript(simulator, script, transcript) ? 0 : 1;
    }
    if (isatty(STDIN_FILENO) == 0) return runScript(simulator, std::cin, transcript) ? 0 : 1;
    runPrompt(simulator);
    return 0;
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? 0 : 1;
  } catch (const std::exception& error) {
    fmt::print(stderr, "zul-sim: {}\n", error.what());
    return 1;
  }
}
