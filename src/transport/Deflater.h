#pragma once

#include <zlib.h>

#include <string>
#include <string_view>

namespace zul {

/// One zlib stream (RFC 1950, default level) in the making, fed piece by piece. Owns zlib's state and
/// the output. One thread at a time.
class Deflater {
 public:
  Deflater();
  ~Deflater();
  Deflater(const Deflater&) = delete;
  Deflater& operator=(const Deflater&) = delete;

  /// False when zlib could not start; the object is then of no use.
  bool ready() const noexcept { return ready_; }

  /// Compresses `piece` behind what came before; the piece that is `last` ends the stream.
  void add(std::string_view piece, bool last);

  /// The stream so far; all of it after the last piece.
  std::string take() &&;

 private:
  void run(int flush);

  z_stream stream_{};
  bool ready_;
  std::string out_;
  std::size_t written_ = 0;
};

}  // namespace zul
