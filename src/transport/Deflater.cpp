#include "Deflater.h"

#include <algorithm>
#include <limits>
#include <utility>

namespace zul {

namespace {

constexpr std::size_t kGrowth = 16384;

}  // namespace

Deflater::Deflater() : ready_(deflateInit(&stream_, Z_DEFAULT_COMPRESSION) == Z_OK) {}

Deflater::~Deflater() {
  if (ready_) deflateEnd(&stream_);
}

void Deflater::add(std::string_view piece, bool last) {
  do {
    // zlib counts its input in 32 bits.
    const auto count = std::min<std::size_t>(piece.size(), std::numeric_limits<uInt>::max());
    stream_.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(piece.data()));
    stream_.avail_in = static_cast<uInt>(count);
    piece.remove_prefix(count);
    run(last && piece.empty() ? Z_FINISH : Z_NO_FLUSH);
  } while (!piece.empty());
}

void Deflater::run(int flush) {
  // Deflate has nothing left to say once it leaves room unused; its return value adds nothing to that.
  do {
    if (written_ == out_.size()) out_.resize(out_.size() + kGrowth);
    stream_.next_out = reinterpret_cast<Bytef*>(out_.data() + written_);
    stream_.avail_out = static_cast<uInt>(out_.size() - written_);
    deflate(&stream_, flush);
    written_ = out_.size() - stream_.avail_out;
  } while (stream_.avail_out == 0);
}

std::string Deflater::take() && {
  out_.resize(written_);
  return std::move(out_);
}

}  // namespace zul
