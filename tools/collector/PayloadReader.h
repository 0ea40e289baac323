#pragma once

#include <boost/json/object.hpp>
#include <cstddef>
#include <functional>
#include <string>
#include <string_view>

namespace zul::collector {

/// Reads the document of an upload, a JSON array of payloads, as its text comes in, payload by payload: nothing larger
/// than one payload is ever taken apart, and the first fault ends it.
class PayloadReader {
 public:
  /// Gets each payload, and its compact text.
  using Take = std::function<void(const boost::json::object& payload, std::string_view text)>;

  explicit PayloadReader(Take take = {}) : take_(std::move(take)) {}

  /// Both throw Fault.
  void append(std::string_view piece);
  void finish();

  /// The whole document, as compact text.
  std::string take() && { return std::move(compact_); }

 private:
  enum class State { before, within, after };

  void outside(char c);
  bool endsElement(char c) noexcept;
  void grow(std::string_view part);
  void endElement(bool last);

  Take take_;
  State state_ = State::before;
  std::size_t count_ = 0;
  std::string element_;  // as far as it has come
  int depth_ = 0;        // of nesting in it
  bool inString_ = false;
  bool escaped_ = false;
  bool spaced_ = false;  // there is white space between its parts
  std::string compact_ = "[";
};

}  // namespace zul::collector
