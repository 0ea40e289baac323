#include "UploadBody.h"

#include <algorithm>
#include <memory>

#include "Deflater.h"
#include "PercentCoding.h"

namespace zul {

std::optional<std::string> uploadBody(std::string_view document) {
  constexpr std::size_t kPiece = 64 * 1024;  // its encoded form still fits a second-level cache
  if (document.empty()) return std::nullopt;
  Deflater deflater;
  if (!deflater.ready()) return std::nullopt;

  const auto encoded = std::make_unique_for_overwrite<char[]>(3 * std::min(kPiece, document.size()));
  while (!document.empty()) {
    const auto piece = document.substr(0, kPiece);
    document.remove_prefix(piece.size());
    const char* const end = percentEncode(piece, encoded.get());
    deflater.add({encoded.get(), static_cast<std::size_t>(end - encoded.get())}, document.empty());
  }
  return std::move(deflater).take();
}

}  // namespace zul
