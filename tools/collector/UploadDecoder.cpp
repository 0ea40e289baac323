#include "UploadDecoder.h"

#include <fmt/format.h>
#include <zlib.h>

#include <array>
#include <cstddef>
#include <span>

namespace zul::collector {

namespace {

constexpr std::size_t kMaxInflated = std::size_t{64} << 20;

constexpr auto kUnreserved = [] {
  std::array<bool, 256> table{};
  for (const char c : std::string_view("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._~")) {
    table[static_cast<unsigned char>(c)] = true;
  }
  return table;
}();

int upperHex(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  return c >= 'A' && c <= 'F' ? c - 'A' + 10 : -1;
}

/// Undoes the one way in which a text may be encoded, piece by piece.
class PercentDecoder {
 public:
  /// In place: what is decoded is never longer.
  std::string_view decode(std::span<char> piece) {
    auto* end = piece.data();
    for (const char c : piece) {
      if (digits_ > 0) {
        if (digit(c)) *end++ = static_cast<char>(byte_);
      } else if (kUnreserved[static_cast<unsigned char>(c)]) {
        *end++ = c;
      } else if (c == '%') {
        digits_ = 2;
      } else {
        throw Fault(fmt::format("byte 0x{:02X} at {} should be percent-encoded", static_cast<unsigned char>(c), at_));
      }
      ++at_;
    }
    return {piece.data(), end};
  }
  void finish() const {
    if (digits_ > 0) refuse(at_ + static_cast<std::size_t>(digits_) - 3);
  }

 private:
  /// Whether it completes the byte.
  bool digit(char c) {
    const int value = upperHex(c);
    if (value < 0) refuse(at_ + static_cast<std::size_t>(digits_) - 3);
    byte_ = byte_ % 16 * 16 + value;
    return --digits_ == 0;
  }
  [[noreturn]] static void refuse(std::size_t at) {
    throw Fault(fmt::format("the percent sign at {} needs two upper-case hexadecimal digits", at));
  }

  std::size_t at_ = 0;
  int digits_ = 0;  // that are still to come
  int byte_ = 0;
};

class Inflater {
 public:
  explicit Inflater(std::string_view data) {
    stream_.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(data.data()));
    stream_.avail_in = static_cast<uInt>(data.size());
    if (inflateInit(&stream_) != Z_OK) throw Fault("zlib cannot start");
  }
  ~Inflater() { inflateEnd(&stream_); }
  Inflater(const Inflater&) = delete;
  Inflater& operator=(const Inflater&) = delete;

  /// The next piece; empty once all are out.
  std::span<char> next() {
    if (ended_) return {};
    stream_.next_out = reinterpret_cast<Bytef*>(out_.data());
    stream_.avail_out = static_cast<uInt>(out_.size());
    // Where all fits at once, zlib then does without a window of its own. It calls a lack of room an error.
    const int state = inflate(&stream_, Z_FINISH);
    ended_ = state == Z_STREAM_END;
    const auto size = out_.size() - stream_.avail_out;
    if (stream_.total_out > kMaxInflated) {
      throw Fault(fmt::format("the body unpacks to more than {} bytes", kMaxInflated));
    }
    const bool goesOn = state == Z_BUF_ERROR || state == Z_OK;
    if (goesOn && stream_.avail_out > 0) throw Fault("the zlib stream ends early");
    if (!goesOn && !ended_) throw Fault(fmt::format("broken zlib stream: {}", stream_.msg ? stream_.msg : "unknown"));
    if (ended_ && stream_.avail_in > 0) throw Fault("there are bytes behind the zlib stream");
    return {out_.data(), size};
  }

 private:
  z_stream stream_{};
  std::array<char, 16384> out_;
  bool ended_ = false;
};

}  // namespace

void decodeUpload(std::string_view body, const std::function<void(std::string_view)>& take) {
  if (body.empty()) throw Fault("no body");
  if (body.substr(0, 2) == "\x1f\x8b") throw Fault("the body is a gzip member, not a zlib stream");
  Inflater inflater(body);
  PercentDecoder decoder;
  for (auto piece = inflater.next(); !piece.empty(); piece = inflater.next()) take(decoder.decode(piece));
  decoder.finish();
}

}  // namespace zul::collector
