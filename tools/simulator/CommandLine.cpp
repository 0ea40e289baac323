// The only file here that includes CLI11, which takes longer to compile than all else in the program.

#include "CommandLine.h"

#include <CLI/CLI.hpp>

#include "zul/ZULSessionVersion.h"

namespace zul::simulator {

CommandLine readCommandLine(int argc, char** argv) {
  CommandLine line;
  CLI::App app("A device in a terminal: runs the library in virtual time, commanded by a script.");
  app.footer("Without a script the commands come from standard input. The command help lists them.");
  app.set_version_flag("--version", "zul-sim " ZUL_VERSION_STRING);
  app.add_option("script", line.scriptFile, "a file of commands, one a line")->type_name("FILE");
  auto* const collector =
      app.add_option("--collector", line.options.collectorUrl, "a real collector, asked in real time")
          ->type_name("URL")
          ->check([](const std::string& url) {
            const bool known = url.starts_with("http://") || url.starts_with("https://");
            return std::string(known ? "" : "must begin with http:// or https://");
          });
  app.add_option("--ca", line.options.caFile, "PEM file of the authority that vouches for it")
      ->type_name("FILE")
      ->check(CLI::ExistingFile)
      ->needs(collector);
  bool noLog = false;
  app.add_flag("--no-log", noLog, "keep the library's log off standard error");
  app.add_flag("--transcript", line.transcript, "print commands and values as they would stand on a terminal");
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    line.exitStatus = app.exit(error) == 0 ? 0 : 1;
  }
  line.options.printLog = !noLog;
  return line;
}

}  // namespace zul::simulator
