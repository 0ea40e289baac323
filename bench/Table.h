#pragma once

#include <iosfwd>
#include <optional>
#include <string>
#include <vector>

namespace zul::bench {

/// What a figure should be. Either it or its ratio to the raw cost is held against a limit.
struct Goal {
  enum class Kind { none, atMost, ratioAtMost, ratioAtLeast };
  Kind kind = Kind::none;
  double limit = 0;

  static Goal atMost(double limit) { return {Kind::atMost, limit}; }
  static Goal ratioAtMost(double limit) { return {Kind::ratioAtMost, limit}; }
  static Goal ratioAtLeast(double limit) { return {Kind::ratioAtLeast, limit}; }
};

struct Row {
  std::string what;
  std::string unit;
  double ours = 0;
  std::string rawWhat{};  ///< what the raw figure is the cost of; empty when there is none
  std::optional<double> raw{};
  Goal goal{};

  std::optional<double> ratio() const;
  /// None without a goal.
  std::optional<bool> met() const;
};

/// All figures of one run.
class Table {
 public:
  void add(Row row) { rows_.push_back(std::move(row)); }
  void print(std::ostream& out) const;
  std::string json() const;

  /// The goals that were missed.
  std::size_t missed() const;

 private:
  std::vector<Row> rows_;
};

}  // namespace zul::bench
