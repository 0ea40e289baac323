#include "Table.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <boost/json.hpp>
#include <ostream>

namespace zul::bench {

namespace {

using Cells = std::array<std::string, 7>;

std::string number(double value) {
  if (value == 0) return "0";
  if (value >= 100) return fmt::format("{:.0f}", value);
  return fmt::format("{:.{}f}", value, value >= 10 ? 1 : 2);
}

std::string goalText(const Row& row) {
  const auto limit = number(row.goal.limit);
  switch (row.goal.kind) {
    case Goal::Kind::atMost:
      return fmt::format("<= {} {}", limit, row.unit);
    case Goal::Kind::ratioAtMost:
      return fmt::format("<= {} x", limit);
    case Goal::Kind::ratioAtLeast:
      return fmt::format(">= {} x", limit);
    case Goal::Kind::none:
      break;
  }
  return "";
}

Cells cellsOf(const Row& row) {
  const auto ratio = row.ratio();
  const auto met = row.met();
  return {row.what,
          fmt::format("{} {}", number(row.ours), row.unit),
          row.raw ? fmt::format("{} {}", number(*row.raw), row.unit) : "",
          ratio ? fmt::format("{:.2f}", *ratio) : "",
          goalText(row),
          met ? (*met ? "yes" : "NO") : "",
          row.rawWhat};
}

}  // namespace

std::optional<double> Row::ratio() const {
  return raw && *raw > 0 ? std::optional(ours / *raw) : std::nullopt;
}

std::optional<bool> Row::met() const {
  switch (goal.kind) {
    case Goal::Kind::atMost:
      return ours <= goal.limit;
    case Goal::Kind::ratioAtMost:
      return ratio().value_or(0) <= goal.limit;
    case Goal::Kind::ratioAtLeast:
      return ratio().value_or(0) >= goal.limit;
    case Goal::Kind::none:
      break;
  }
  return std::nullopt;
}

void Table::print(std::ostream& out) const {
  std::vector<Cells> lines = {{"what", "measured", "raw", "ratio", "goal", "met", "raw is"}};
  for (const auto& row : rows_) lines.push_back(cellsOf(row));
  std::array<std::size_t, 7> widths{};
  for (const auto& line : lines) {
    for (std::size_t n = 0; n < line.size(); ++n) widths[n] = std::max(widths[n], line[n].size());
  }
  for (const auto& line : lines) {
    std::string text = fmt::format("{:<{}}", line[0], widths[0]);
    for (std::size_t n = 1; n + 2 < line.size(); ++n) text += fmt::format("  {:>{}}", line[n], widths[n]);
    text += fmt::format("  {:<{}}  {}", line[5], widths[5], line[6]);
    out << text.substr(0, text.find_last_not_of(' ') + 1) << '\n';
  }
}

std::string Table::json() const {
  boost::json::array list;
  for (const auto& row : rows_) {
    boost::json::object figure{{"what", row.what}, {"unit", row.unit}, {"measured", row.ours}};
    if (row.raw) figure["raw"] = *row.raw;
    if (!row.rawWhat.empty()) figure["rawIs"] = row.rawWhat;
    if (const auto ratio = row.ratio()) figure["ratio"] = *ratio;
    if (const auto met = row.met()) {
      figure["goal"] = goalText(row);
      figure["met"] = *met;
    }
    list.push_back(std::move(figure));
  }
  return boost::json::serialize(list);
}

std::size_t Table::missed() const {
  return static_cast<std::size_t>(
      std::count_if(rows_.begin(), rows_.end(), [](const Row& row) { return row.met() == false; }));
}

}  // namespace zul::bench
