#include "ClockCombination.h"

#include <algorithm>
#include <numeric>

namespace zul {

ClockCombination combine(std::span<const ClockCombination::Server> servers) {
  std::vector<std::size_t> order(servers.size());
  std::iota(order.begin(), order.end(), 0);
  std::stable_sort(order.begin(), order.end(),
                   [&](auto a, auto b) { return servers[a].dispersion < servers[b].dispersion; });

  ClockCombination result;
  double sum = 0;
  std::size_t count = 0;
  for (const std::size_t index : order) {
    const auto& server = servers[index];
    if (!server.active) continue;
    if (server.trusty) {
      sum += server.offset;
      ++count;
    } else if (servers.size() - result.givenUp.size() >= ClockCombination::kTooMany) {
      result.givenUp.push_back(index);
    }
    if (count == ClockCombination::kMostAveraged) break;
  }
  if (count > 0) result.offset = sum / static_cast<double>(count);
  return result;
}

}  // namespace zul
