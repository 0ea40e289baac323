// zul-bench: what the library costs, beside what the same work costs without it.
//
//   zul-bench [--only WORD] [--strict] [--json FILE]
//
// Everything runs on loopback and in temporary folders.

#include <benchmark/benchmark.h>

#include <cstring>
#include <exception>
#include <fstream>
#include <functional>
#include <iostream>
#include <string>
#include <utility>
#include <vector>

#include "Benches.h"
#include "EpollAnswerer.h"
#include "PlainServer.h"
#include "zul/ZULSessionVersion.h"

namespace {

using zul::bench::Table;

constexpr int kMissed = 2;

struct Options {
  std::string only;  // a part of the names of the subjects
  bool strict = false;
  const char* jsonFile = nullptr;
};

// Raw cost and ours in turn, so that a disturbance hits both.
void chooseBenchmarkOptions() {
  std::vector<std::string> options = {"zul-bench", "--benchmark_repetitions=9", "--benchmark_min_time=0.02",
                                      "--benchmark_enable_random_interleaving=true"};
  std::vector<char*> arguments;
  for (auto& option : options) arguments.push_back(option.data());
  int count = static_cast<int>(arguments.size());
  benchmark::Initialize(&count, arguments.data());
}

Table bench(const std::string& only) {
  using namespace zul::bench;
  const EpollAnswerer answerer;  // before this process has threads, as the next
  const PlainServer plain;
  const auto& collector = answerer.url();
  const std::pair<std::string, std::function<void(Table&)>> subjects[] = {
      {"start-up", [&](Table& table) { benchStartup(collector, table); }},
      {"events", [&](Table& table) { benchEvents(collector, table); }},
      {"cpu", [&](Table& table) { benchCpu(collector, table); }},
      {"memory", [&](Table& table) { benchFootprint(collector, table); }},
      {"throughput", [&](Table& table) { benchThroughput(collector, table); }},
      {"kills", [&](Table& table) { benchKills(collector, table); }},
      {"store", benchStore},
      {"bodies", benchUploadBodies},
      {"links", benchAttribution},
      {"clock", benchClock},
      {"collector", [&](Table& table) { benchCollector(plain, table); }},
      {"simulator", benchSimulator},
  };
  Table table;
  for (const auto& [name, run] : subjects) {
    if (name.find(only) == name.npos) continue;
    std::cout << name << " ..." << std::endl;
    run(table);
  }
  return table;
}

bool read(int argc, char** argv, Options& options) {
  for (int n = 1; n < argc; ++n) {
    const bool hasValue = n + 1 < argc;
    if (std::strcmp(argv[n], "--strict") == 0) {
      options.strict = true;
    } else if (std::strcmp(argv[n], "--only") == 0 && hasValue) {
      options.only = argv[++n];
    } else if (std::strcmp(argv[n], "--json") == 0 && hasValue) {
      options.jsonFile = argv[++n];
    } else {
      return false;
    }
  }
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc == 2 && std::strcmp(argv[1], "--version") == 0) {
    std::cout << "zul-bench " ZUL_VERSION_STRING "\n";
    return 0;
  }
  Options options;
  if (!read(argc, argv, options)) {
    std::cerr << "usage: zul-bench [--only WORD] [--strict] [--json FILE] | --version\n"
                 "  --only WORD   the subjects whose name contains the word, no others\n"
                 "  --strict      exits with status 2 when a goal was missed\n"
                 "  --json FILE   writes the figures there, too\n";
    return 1;
  }
  chooseBenchmarkOptions();
  try {
    const auto table = bench(options.only);
    std::cout << '\n';
    table.print(std::cout);
    if (options.jsonFile != nullptr) std::ofstream(options.jsonFile) << table.json() << '\n';
    const auto missed = table.missed();
    if (missed > 0) std::cout << '\n' << missed << (missed == 1 ? " goal" : " goals") << " missed\n";
    return options.strict && missed > 0 ? kMissed : 0;
  } catch (const std::exception& error) {
    std::cerr << "zul-bench: " << error.what() << '\n';
    return 1;
  }
}
