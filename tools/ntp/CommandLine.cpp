// The only file here that includes CLI11, which takes longer to compile than all else in the program.

#include "CommandLine.h"

#include <CLI/CLI.hpp>

#include "Version.h"

namespace zul::ntptool {

CommandLine readCommandLine(int argc, char** argv) {
  CommandLine line;
  CLI::App app("Asks time servers as the library does, and prints a line a server until it is stopped.");
  app.footer(
      "A line has, in this order: whether the server is trusted, its address and stratum, the offset of this machine's "
      "clock (in seconds, whatever the unit says) and the server's own doubt of its time in milliseconds. A server "
      "that "
      "stays at stratum 0 and an infinite offset does not answer, or not as it should.");
  app.set_version_flag("--version", std::string("zul-ntp ").append(kSdkVersion));
  app.add_option("HOST", line.hosts, "names or addresses of time servers; with --serve, the addresses to serve at")
      ->required()
      ->type_name("");
  app.add_option("--port", line.port, "of the servers")->capture_default_str();
  app.add_option("--every", line.every, "how often to print")
      ->type_name("SECONDS")
      ->capture_default_str()
      ->check(CLI::Range(0.1, 86400.0));
  app.add_option("--serve", line.serve, "be a time server instead, for tests, so far ahead of this machine's clock")
      ->type_name("SECONDS")
      ->check(CLI::Range(-1e9, 1e9));
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    line.exitStatus = app.exit(error) == 0 ? 0 : 1;
  }
  return line;
}

}  // namespace zul::ntptool
