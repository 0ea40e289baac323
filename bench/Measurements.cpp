#include "Measurements.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>

namespace zul::bench {

double percentile(std::vector<double> values, double share) {
  if (values.empty()) throw std::runtime_error("nothing was measured");
  std::sort(values.begin(), values.end());
  const auto rank = static_cast<std::size_t>(std::ceil(share * static_cast<double>(values.size())));
  return values[std::clamp<std::size_t>(rank, 1, values.size()) - 1];
}

double median(std::vector<double> values) {
  return percentile(std::move(values), 0.5);
}

Measurements::Measurements() {
  benchmark::RunSpecifiedBenchmarks(this);
  benchmark::ClearRegisteredBenchmarks();
}

void Measurements::ReportRuns(const std::vector<Run>& runs) {
  for (const auto& run : runs) {
    if (run.run_type != Run::RT_Iteration) continue;
    if (run.error_occurred) throw std::runtime_error(run.run_name.function_name + ": " + run.error_message);
    times_[run.run_name.function_name].push_back(run.real_accumulated_time / static_cast<double>(run.iterations) * 1e6);
  }
}

double Measurements::microseconds(const std::string& name) const {
  const auto found = times_.find(name);
  if (found == times_.end()) throw std::runtime_error(name + " was not measured");
  return median(found->second);
}

}  // namespace zul::bench
