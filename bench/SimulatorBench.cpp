#include <boost/json/object.hpp>
#include <chrono>
#include <fstream>

#include "Benches.h"
#include "Json.h"
#include "Process.h"

namespace zul::bench {

namespace {

constexpr int kDays = 365;
constexpr double kYearSeconds = 2;
constexpr double kFleetMegabytes = 2048;

std::string simulate(const std::string& script) {
  const TemporaryFolder folder;
  const auto file = folder.path() + "/script.sim";
  std::ofstream(file) << script;
  return run({besideProgram("zul-sim"), "--no-log", file});
}

double seconds(const std::string& script) {
  const auto begin = std::chrono::steady_clock::now();
  simulate(script);
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
}

std::string days(const std::string& day) {
  std::string script;
  for (int n = 0; n < kDays; ++n) script += day;
  return script;
}

}  // namespace

void benchSimulator(Table& table) {
  const auto year = [&](const char* what, double taken) {
    table.add({.what = what, .unit = "s", .ours = taken, .goal = Goal::atMost(kYearSeconds)});
  };
  year("simulated year, a launch a day", seconds(days("launch\nadvance 10m\nrestart\nadvance 1430m\n")));
  year("simulated year, one process, an event a day",
       seconds("launch\n" + days("advance 24h\ncall sendTransaction\n")));

  const auto begin = std::chrono::steady_clock::now();
  const auto fleet = json::parseObject(simulate("fleet 1000 86400\n")).value_or(boost::json::object());
  const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - begin;
  table.add({.what = "1000 simulated devices for a day", .unit = "s", .ours = taken.count()});
  table.add({.what = "1000 simulated devices, memory at most",
             .unit = "MB",
             .ours = json::number(fleet, "memory").value_or(0) / (1 << 20),
             .goal = Goal::atMost(kFleetMegabytes)});
}

}  // namespace zul::bench
