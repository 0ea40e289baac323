#include "PayloadReader.h"

#include <fmt/format.h>

#include <array>
#include <boost/json.hpp>

#include "Json.h"
#include "UploadDecoder.h"
#include "Utf8.h"

namespace zul::collector {

namespace {

constexpr std::size_t kMaxPayload = std::size_t{1} << 20;

constexpr std::size_t kMostPayloads = 50'000;
constexpr std::string_view kSpace = " \t\n\r";

/// What says where an element ends; most of a text is none of these.
constexpr auto kTelling = [] {
  std::array<bool, 256> table{};
  for (const char c : std::string_view("\"\\{}[], \t\n\r")) table[static_cast<unsigned char>(c)] = true;
  return table;
}();

[[noreturn]] void notJson() {
  throw Fault("the decoded body is not JSON");
}

}  // namespace

void PayloadReader::append(std::string_view piece) {
  std::size_t begin = 0;  // of the element's part in this piece
  for (std::size_t at = 0; at < piece.size(); ++at) {
    if (state_ != State::within) {
      outside(piece[at]);
    } else if ((escaped_ || kTelling[static_cast<unsigned char>(piece[at])]) && endsElement(piece[at])) {
      grow(piece.substr(begin, at - begin));
      endElement(piece[at] == ']');
    } else {
      continue;
    }
    begin = at + 1;
  }
  if (state_ == State::within) grow(piece.substr(begin));
}

void PayloadReader::finish() {
  if (state_ != State::after) notJson();
  if (count_ == 0) throw Fault("the document has no payload");
}

void PayloadReader::outside(char c) {
  if (kSpace.find(c) != kSpace.npos) return;
  if (state_ == State::after) notJson();
  if (c != '[') throw Fault("the document is not a JSON array");
  state_ = State::within;
}

bool PayloadReader::endsElement(char c) noexcept {
  if (inString_) {
    inString_ = escaped_ || c != '"';
    escaped_ = !escaped_ && c == '\\';
  } else if (c == '"') {
    inString_ = true;
  } else if (c == '{' || c == '[') {
    ++depth_;
  } else if (kSpace.find(c) != kSpace.npos) {
    spaced_ = true;
  } else if (depth_ == 0) {
    return c == ',' || c == ']';
  } else if (c == '}' || c == ']') {
    --depth_;
  }
  return false;
}

void PayloadReader::grow(std::string_view part) {
  if (part.size() > kMaxPayload - element_.size()) {
    throw Fault(fmt::format("payload {} is larger than {} bytes", count_, kMaxPayload));
  }
  element_ += part;
}

void PayloadReader::endElement(bool last) {
  if (last) state_ = State::after;
  if (last && count_ == 0 && element_.find_first_not_of(kSpace) == element_.npos) return;
  // The values go all at once, and none outlives this function.
  std::array<unsigned char, 16384> room;
  boost::json::monotonic_resource memory(room.data(), room.size());
  const auto value = json::parse(element_, json::kMaxPayloadDepth, &memory);
  if (!value && !isUtf8(element_)) throw Fault("the decoded body is not UTF-8");
  if (!value) notJson();
  const auto* payload = value->if_object();
  if (!payload || payload->empty()) throw Fault(fmt::format("payload {} is not an object with content", count_));
  if (count_ == kMostPayloads) throw Fault(fmt::format("the document has more than {} payloads", kMostPayloads));
  const auto begin = compact_.size();
  compact_.reserve(begin + element_.size() + 1);  // to the byte for one payload, as most documents have
  if (spaced_) {
    json::appendCompact(compact_, element_);
  } else {
    compact_ += element_;
  }
  if (take_) take_(*payload, std::string_view(compact_).substr(begin));
  compact_ += last ? ']' : ',';
  element_.clear();
  spaced_ = false;
  ++count_;
}

}  // namespace zul::collector
