#pragma once

#include <zlib.h>

#include <string>
#include <string_view>

namespace zul {

/// One zlib stream (RFC 1950, default level) in the making, fed piece by piece. One thread at a time.
class Deflater {
 public:
  Deflater();
  ~Deflater();
  Deflater(const Deflater&) = delete;
  Deflater& operator=(const Deflater&) = delete;

  /// False when zlib could not start; the object is then of no use.
  bool ready() const noexcept { return ready_; }

  /// Compresses `piece` behind what came before, and appends to `out` what is ready by now; the piece that is `last`
  /// ends the stream.
  void add(std::string_view piece, bool last, std::string& out);

 private:
  void run(int flush, std::string& out);

  z_stream stream_{};
  bool ready_;
};

}  // namespace zul
