#include "QZ_GZIP.h"

#include <zlib.h>

#include <algorithm>
#include <limits>
#include <memory>

#include "Deflater.h"

namespace zul {

namespace {

constexpr int kZlibOrGzip = 15 + 32;  // the largest window; the header tells which of the two it is

uInt within32Bits(std::size_t count) {
  return static_cast<uInt>(std::min<std::size_t>(count, std::numeric_limits<uInt>::max()));
}

}  // namespace

std::optional<std::string> QZ_GZIP::gzippedData(std::string_view data) {
  return gzippedDataWithCompressionLevel(1.0F, data);
}

std::optional<std::string> QZ_GZIP::gzippedDataWithCompressionLevel(float, std::string_view data) {
  if (data.empty()) return std::nullopt;
  Deflater deflater;
  if (!deflater.ready()) return std::nullopt;
  std::string stream;
  deflater.add(data, true, stream);
  return stream;
}

std::optional<std::string> QZ_GZIP::gunzippedData(std::string_view data) {
  return gunzippedData(data, std::numeric_limits<std::size_t>::max());
}

std::optional<std::string> QZ_GZIP::gunzippedData(std::string_view data, std::size_t maxSize) {
  if (data.empty()) return std::nullopt;
  z_stream stream{};
  if (inflateInit2(&stream, kZlibOrGzip) != Z_OK) return std::nullopt;
  std::unique_ptr<z_stream, int (*)(z_streamp)> open(&stream, inflateEnd);

  const std::size_t growth = data.size() / 2;
  std::string out(data.size() + growth, '\0');
  std::size_t written = 0;
  int status = Z_OK;
  while (status == Z_OK) {
    if (stream.avail_in == 0) {
      stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(data.data()));
      stream.avail_in = within32Bits(data.size());
      data.remove_prefix(stream.avail_in);
    }
    if (written == out.size()) out.resize(out.size() + growth);
    const uInt room = within32Bits(out.size() - written);
    stream.next_out = reinterpret_cast<Bytef*>(out.data() + written);
    stream.avail_out = room;
    // Ends with Z_BUF_ERROR where the input stops short, and where a single byte leaves no room to grow.
    status = inflate(&stream, Z_SYNC_FLUSH);
    written += room - stream.avail_out;
    if (written > maxSize) return std::nullopt;
  }
  if (inflateEnd(open.release()) != Z_OK || status != Z_STREAM_END) return std::nullopt;
  out.resize(written);
  return out;
}

}  // namespace zul
