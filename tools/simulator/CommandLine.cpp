// The only file here that includes CLI11, which takes longer to compile than all else in the program.

#include "CommandLine.h"

#include <CLI/CLI.hpp>

#include "Json.h"
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
  app.add_option("--record", line.options.recordFile, "write one JSON object a request")->type_name("FILE");
  std::string key;
  auto* const explain = app.add_subcommand("explain", "tell what a key of the payload means, and end");
  explain->add_option("key", key, "the key; all of them without")->type_name("KEY");
  std::string folder;
  auto* const open = app.add_subcommand("open", "go on from a copy of an application's data folder");
  open->add_option("folder", folder, "with ZULLocalDB.sqlite in it")->type_name("FOLDER")->required();
  open->add_option("script", line.scriptFile, "commands for the device")->type_name("FILE");
  app.require_subcommand(0, 1);
  bool noLog = false;
  app.add_flag("--no-log", noLog, "keep the library's log off standard error");
  app.add_flag("--transcript", line.transcript, "print commands and values as they would stand on a terminal");
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    line.exitStatus = app.exit(error) == 0 ? 0 : 1;
  }
  line.options.printLog = !noLog;
  line.commandAlone = explain->parsed();
  if (explain->parsed()) line.command = key.empty() ? "help explain" : "explain " + json::text(boost::json::value(key));
  if (open->parsed()) line.command = "open " + json::text(boost::json::value(folder));
  return line;
}

}  // namespace zul::simulator
