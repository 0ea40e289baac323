// zul-bench-host: the host application that zul-bench starts for each figure of a whole process.
//
//   zul-bench-host ROLE [NAME=VALUE ...]

#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <exception>
#include <iostream>
#include <utility>

#include "Roles.h"

int main(int argc, char** argv) {
  using namespace zul::bench;
  constexpr std::pair<const char*, void (*)(const Options&)> kRoles[] = {
      {"idle", idle},           {"start", startLibrary},    {"start-raw", startRaw}, {"send", sendEvents},
      {"spend", spendOffline},  {"deliver", deliverEvents}, {"log", logEvents},      {"report", reportEvents},
      {"footprint", footprint}, {"commits", countCommits},
  };
  Options options;
  for (int n = 2; n < argc; ++n) {
    const std::string option = argv[n];
    const auto equals = option.find('=');
    options[option.substr(0, equals)] = equals == option.npos ? "" : option.substr(equals + 1);
  }
  for (const auto& [name, role] : kRoles) {
    if (argc < 2 || std::strcmp(argv[1], name) != 0) continue;
    try {
      role(options);
      std::cout.flush();
      _exit(0);  // nothing of the way out is measured, nor waited for
    } catch (const std::exception& error) {
      std::cout << "failed " << error.what() << std::endl;
      _exit(1);
    }
  }
  std::cerr << "usage: zul-bench-host ROLE [NAME=VALUE ...]; see zul-bench\n";
  return 1;
}
