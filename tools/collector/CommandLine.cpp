// The only file here that includes CLI11, which takes longer to compile than all else in the program.

#include "CommandLine.h"

#include <CLI/CLI.hpp>

#include "Schema.h"
#include "Version.h"

namespace zul::collector {

CommandLine readCommandLine(int argc, char** argv) {
  CommandLine line;
  CLI::App app("A collector for development: checks, records and answers every request of the library.");
  app.set_version_flag("--version", "zul-collector " + std::string(kSdkVersion));
  app.footer(std::string(answersHelp()));
  const auto* const listen =
      app.add_option("--listen", line.address, "where to listen; port 0 takes any free one")->type_name("HOST:PORT");
  app.add_option("--tls-cert", line.options.certFile, "PEM certificate chain: speak HTTPS")->type_name("FILE");
  app.add_option("--tls-key", line.options.keyFile, "the certificate's PEM key")->type_name("FILE");
  app.add_option("--answers", line.answersFile, "what to answer, see below")->type_name("FILE");
  app.add_option("--record", line.options.recordFile, "append one JSON object a request")->type_name("FILE");
  app.add_option("--keep", line.options.maxRequests, "how many requests stay in memory")
      ->check(CLI::PositiveNumber)
      ->capture_default_str()
      ->type_name("N");
  bool schema = false;
  app.add_flag("--schema", schema, "print the JSON Schema of a decoded upload, and end");
  app.add_flag("--quiet", line.quiet, "no line for each request");
  try {
    app.parse(argc, argv);
    if (schema) throw CLI::CallForVersion(uploadSchema(), 0);
    if (!*listen) throw CLI::RequiredError("--listen");
  } catch (const CLI::ParseError& error) {
    line.exitStatus = app.exit(error) == 0 ? 0 : 1;
  }
  return line;
}

}  // namespace zul::collector
