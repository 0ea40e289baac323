#pragma once

#include <benchmark/benchmark.h>

#include <map>
#include <string>
#include <vector>

namespace zul::bench {

double median(std::vector<double> values);
/// The least value that `share` of them do not exceed.
double percentile(std::vector<double> values, double share);

/// Collects what Google Benchmark measures: the time of each repetition, by the benchmark's name.
class Measurements final : public benchmark::BenchmarkReporter {
 public:
  /// Runs the benchmarks that are registered, and forgets them.
  Measurements();

  bool ReportContext(const Context&) override { return true; }
  void ReportRuns(const std::vector<Run>& runs) override;

  /// The median of the repetitions, in microseconds.
  double microseconds(const std::string& name) const;

 private:
  std::map<std::string, std::vector<double>> times_;
};

}  // namespace zul::bench
