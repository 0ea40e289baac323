// zul-bench: what the library costs, beside what the same work costs without it.
//
//   zul-bench [--json FILE]
//
// Everything runs on loopback and in temporary folders.

#include <benchmark/benchmark.h>

#include <cstring>
#include <exception>
#include <fstream>
#include <iostream>
#include <string>
#include <vector>

#include "Benches.h"
#include "PlainServer.h"
#include "zul/ZULSessionVersion.h"

namespace {

// Raw cost and ours in turn, so that a disturbance hits both.
void chooseBenchmarkOptions() {
  std::vector<std::string> options = {"zul-bench", "--benchmark_repetitions=9", "--benchmark_min_time=0.02",
                                      "--benchmark_enable_random_interleaving=true"};
  std::vector<char*> arguments;
  for (auto& option : options) arguments.push_back(option.data());
  int count = static_cast<int>(arguments.size());
  benchmark::Initialize(&count, arguments.data());
}

void bench(const char* jsonFile) {
  using namespace zul::bench;
  const Collector collector;  // before this process has threads, as the next
  const PlainServer plain;
  const TemporaryFolder folder;
  Workbench workbench(folder.path());
  Table table;
  std::cout << "start-up ..." << std::endl;
  benchStartup(table);
  std::cout << "events ..." << std::endl;
  benchEvents(collector, table);
  std::cout << "store, upload bodies, links and clock ..." << std::endl;
  registerStoreBench(workbench, folder.path());
  registerUploadBench();
  registerAttributionBench();
  registerClockBench();
  Measurements measurements;
  benchmark::RunSpecifiedBenchmarks(&measurements);
  tabulateStoreBench(measurements, workbench, table);
  tabulateUploadBench(measurements, table);
  tabulateAttributionBench(measurements, table);
  tabulateClockBench(measurements, table);
  benchmark::ClearRegisteredBenchmarks();
  std::cout << "throughput ..." << std::endl;
  benchThroughput(workbench, collector, table);
  std::cout << "collector ..." << std::endl;
  benchCollector(plain, table);
  std::cout << "simulator ..." << std::endl;
  benchSimulator(table);
  std::cout << "footprint ..." << std::endl;
  benchFootprint(collector, table);

  std::cout << '\n';
  table.print(std::cout);
  if (jsonFile != nullptr) std::ofstream(jsonFile) << table.json() << '\n';
}

}  // namespace

int main(int argc, char** argv) {
  if (argc == 2 && std::strcmp(argv[1], "--version") == 0) {
    std::cout << "zul-bench " ZUL_VERSION_STRING "\n";
    return 0;
  }
  const bool wantsJson = argc == 3 && std::strcmp(argv[1], "--json") == 0;
  if (argc != 1 && !wantsJson) {
    std::cerr << "usage: zul-bench [--json FILE | --version]\n";
    return 1;
  }
  chooseBenchmarkOptions();
  try {
    bench(wantsJson ? argv[2] : nullptr);
  } catch (const std::exception& error) {
    std::cerr << "zul-bench: " << error.what() << '\n';
    return 1;
  }
  return 0;
}
