#include "UploadBody.h"

#include <algorithm>
#include <utility>

#include "PercentCoding.h"

namespace zul {

// As much as there is room for: each part of a body costs its sender and its receiver a few calls.
std::optional<std::size_t> UploadBody::read(std::span<char> buffer) {
  while (out_.size() - taken_ < buffer.size() && !ended_) {
    const auto piece = document_();
    if (!deflater_) deflater_.emplace();
    if (!piece || !deflater_->ready()) return std::nullopt;
    out_.erase(0, std::exchange(taken_, 0));
    ended_ = piece->empty();
    add(*piece);
  }
  const auto size = out_.copy(buffer.data(), buffer.size(), taken_);
  taken_ += size;
  return size;
}

void UploadBody::add(std::string_view piece) {
  constexpr std::size_t kSlice = 16 * 1024;  // its encoded form still fits a second-level cache
  do {
    const auto slice = piece.substr(0, kSlice);
    piece.remove_prefix(slice.size());
    if (encoded_.size() < 3 * slice.size()) encoded_.resize(3 * slice.size());
    const char* const end = percentEncode(slice, encoded_.data());
    deflater_->add({encoded_.data(), end}, ended_, out_);
  } while (!piece.empty());
}

std::optional<std::string> uploadBody(std::string_view document) {
  if (document.empty()) return std::nullopt;
  return UploadBody([&document] { return std::exchange(document, {}); }, true).readAll();
}

}  // namespace zul
