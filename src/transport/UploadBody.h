#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "Deflater.h"
#include "zul/platform/HttpClient.h"

namespace zul {

/// A text, one piece a call, each good until the next call: an empty one at the end, none when it cannot be read.
using TextPieces = std::function<std::optional<std::string_view>()>;

/// The body of a data upload: the percent-encoded document as a zlib stream, the same bytes that percentEncode and then
/// QZ_GZIP would give. It is made piece by piece while it is sent, since the encoded form of a long queue is up to
/// three times its size and is never wanted whole, and since an upload that finds no collector needs none at all.
///
/// Bytes that are not UTF-8 are encoded as they stand. One thread at a time.
class UploadBody final : public platform::BodySource {
 public:
  UploadBody(TextPieces document, bool isSmall) : document_(std::move(document)), isSmall_(isSmall) {}
  std::optional<std::size_t> read(std::span<char> buffer) override;
  bool isSmall() const override { return isSmall_; }

 private:
  void add(std::string_view piece);

  const TextPieces document_;
  const bool isSmall_;
  std::optional<Deflater> deflater_;  // as of the first read: it takes a quarter of a megabyte
  std::string encoded_;
  std::string out_;
  std::size_t taken_ = 0;  // of out_
  bool ended_ = false;
};

/// The whole body at once. None for an empty document and when zlib cannot start. Any thread.
std::optional<std::string> uploadBody(std::string_view document);

}  // namespace zul
