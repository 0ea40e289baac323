#include "Deflater.h"

#include <algorithm>
#include <array>
#include <limits>

namespace zul {

namespace {

constexpr std::size_t kRoom = 16384;

}  // namespace

Deflater::Deflater() : ready_(deflateInit(&stream_, Z_DEFAULT_COMPRESSION) == Z_OK) {}

Deflater::~Deflater() {
  if (ready_) deflateEnd(&stream_);
}

void Deflater::add(std::string_view piece, bool last, std::string& out) {
  do {
    // zlib counts its input in 32 bits.
    const auto count = std::min<std::size_t>(piece.size(), std::numeric_limits<uInt>::max());
    stream_.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(piece.data()));
    stream_.avail_in = static_cast<uInt>(count);
    piece.remove_prefix(count);
    run(last && piece.empty() ? Z_FINISH : Z_NO_FLUSH, out);
  } while (!piece.empty());
}

void Deflater::run(int flush, std::string& out) {
  // Deflate has nothing left to say once it leaves room unused; its return value adds nothing to that.
  std::array<char, kRoom> room;
  do {
    stream_.next_out = reinterpret_cast<Bytef*>(room.data());
    stream_.avail_out = static_cast<uInt>(room.size());
    deflate(&stream_, flush);
    out.append(room.data(), room.size() - stream_.avail_out);
  } while (stream_.avail_out == 0);
}

}  // namespace zul
