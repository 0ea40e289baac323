#include "Nearest.h"

#include <algorithm>
#include <cstddef>
#include <numeric>
#include <vector>

namespace zul {

namespace {

char lower(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

// How many letters have to be added, removed or changed to make the one text the other.
std::size_t distance(std::string_view a, std::string_view b) {
  std::vector<std::size_t> row(b.size() + 1);
  std::iota(row.begin(), row.end(), 0U);
  for (std::size_t i = 0; i < a.size(); ++i) {
    std::size_t diagonal = row[0]++;
    for (std::size_t j = 0; j < b.size(); ++j) {
      const auto changed = diagonal + (lower(a[i]) == lower(b[j]) ? 0 : 1);
      diagonal = row[j + 1];
      row[j + 1] = std::min({changed, diagonal + 1, row[j] + 1});
    }
  }
  return row.back();
}

}  // namespace

std::optional<std::string_view> nearest(std::string_view unknown, std::span<const std::string_view> known) {
  constexpr std::size_t kLongest = 64;  // a longer text is no misspelling
  if (unknown.size() > kLongest) return std::nullopt;
  std::optional<std::string_view> found;
  std::size_t least = std::max<std::size_t>(3, unknown.size() / 2);
  for (const auto word : known) {
    if (least == 0) break;
    if (const auto far = distance(unknown, word); far < least) {
      least = far;
      found = word;
    }
  }
  return found;
}

}  // namespace zul
