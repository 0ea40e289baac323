#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace zul {

/// Compression of byte buffers with zlib. In spite of the names what is written is a zlib stream
/// (RFC 1950), not a gzip member: that is the form the collector takes. Both forms are read.
///
/// Buffers are texts of bytes here, so this one family serves both as the helper class and as what
/// other platforms hang on their byte-buffer type. Pure functions, any thread.
class QZ_GZIP {
 public:
  /// `data` as a zlib stream; none for empty data and when zlib cannot start.
  static std::optional<std::string> gzippedData(std::string_view data);

  /// The same: `level` is accepted and ignored, the stream always has zlib's default level.
  static std::optional<std::string> gzippedDataWithCompressionLevel(float level, std::string_view data);

  /// The content of a zlib stream or gzip member; none unless it is whole and sound. What follows the
  /// end of the stream is ignored.
  static std::optional<std::string> gunzippedData(std::string_view data);

  /// The same, and none as soon as the content passes `maxSize` bytes: for data of unknown origin,
  /// which may hold a thousand times its size.
  static std::optional<std::string> gunzippedData(std::string_view data, std::size_t maxSize);
};

}  // namespace zul
