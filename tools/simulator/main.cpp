// zul-sim: a simulated device with the library on it, commanded from a script, standard input or a prompt.

#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <exception>
#include <optional>
#include <stdexcept>
#include <string>
#include <system_error>

#include "CommandLine.h"
#include "Interrupt.h"
#include "Json.h"
#include "LineReader.h"
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

// False when the line could not be run. It has no number when it comes from the command line.
bool run(simulator::Simulator& simulator, const std::string& line, int number) {
  try {
    simulator.run(line);
    return true;
  } catch (const std::exception& error) {
    const auto place = number > 0 ? fmt::format("line {}: ", number) : "";
    fmt::print(stderr, "zul-sim: {}{}: {}\n", place, commandName(line), error.what());
    return false;
  }
}

bool runScript(simulator::Simulator& simulator, int file, bool transcript) {
  simulator::LineReader lines(file, simulator.idle());
  for (int number = 1; auto line = lines.next(); ++number) {
    if (number == 1 && line->starts_with("\xEF\xBB\xBF")) line->erase(0, 3);  // as some editors begin a file
    if (transcript) {
      fmt::print("{}{}\n", line->empty() ? "" : simulator::kPrompt, *line);
      std::fflush(stdout);
    }
    if (!run(simulator, *line, number)) return false;
    if (simulator.ended()) break;
  }
  return true;
}

void runPrompt(simulator::Simulator& simulator, simulator::Interrupt& interrupt) {
  const auto idle = simulator.idle();
  for (int number = 1; !simulator.ended(); ++number) {
    const auto line = simulator::promptLine(interrupt, idle);
    if (!line) {
      fmt::print(stderr, "\n");
      return;
    }
    interrupt.clear();  // what was pressed before the command is not meant for it
    run(simulator, *line, number);
    interrupt.clear();
  }
}

// False when a script has failed.
bool runInput(const simulator::CommandLine& line) {
  int input = STDIN_FILENO;
  if (!line.scriptFile.empty()) {
    input = open(line.scriptFile.c_str(), O_RDONLY | O_CLOEXEC);
    if (input < 0) throw std::system_error(errno, std::generic_category(), "cannot read " + line.scriptFile);
  }
  // At a prompt Ctrl-C ends a command, in a script all of it.
  std::optional<simulator::Interrupt> interrupt;
  auto options = line.options;
  if (isatty(input) != 0) {
    interrupt.emplace();
    options.interrupted = [&] { return interrupt->pressed(); };
  }
  const bool indent = line.transcript || isatty(STDOUT_FILENO) != 0;
  simulator::Simulator simulator(options, [indent](const auto& value) { print(value, indent); });
  if (!line.command.empty() && !run(simulator, line.command, 0)) return false;
  if (line.commandAlone) return true;
  bool done = true;
  if (interrupt) {
    runPrompt(simulator, *interrupt);
  } else {
    done = runScript(simulator, input, line.transcript);
  }
  if (done) simulator.finish();
  return done;
}

}  // namespace

int main(int argc, char** argv) {
  try {
    const auto line = simulator::readCommandLine(argc, argv);
    if (line.exitStatus) return *line.exitStatus;
    const bool done = runInput(line);
    if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0) throw std::runtime_error("cannot write the output");
    return done ? 0 : 1;
  } catch (const std::exception& error) {
    fmt::print(stderr, "zul-sim: {}\n", error.what());
    return 1;
  }
}
