#include "UploadDecoder.h"

#include <fmt/format.h>
#include <zlib.h>

#include <algorithm>
#include <array>
#include <cstddef>

#include "PercentCoding.h"
#include "Utf8.h"

namespace zul::collector {

namespace {

constexpr std::size_t kMaxInflated = std::size_t{64} << 20;

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

  std::string run() {
    std::string out(std::max<std::size_t>(std::size_t{16} << 10, stream_.avail_in * std::size_t{4}), '\0');
    for (;;) {
      stream_.next_out = reinterpret_cast<Bytef*>(out.data() + stream_.total_out);
      stream_.avail_out = static_cast<uInt>(out.size() - stream_.total_out);
      const int state = inflate(&stream_, Z_NO_FLUSH);
      if (stream_.total_out > kMaxInflated) {
        throw Fault(fmt::format("the body unpacks to more than {} bytes", kMaxInflated));
      }
      if (state == Z_STREAM_END) break;
      if (state == Z_BUF_ERROR || (state == Z_OK && stream_.avail_out > 0)) throw Fault("the zlib stream ends early");
      if (state != Z_OK) throw Fault(fmt::format("broken zlib stream: {}", stream_.msg ? stream_.msg : "unknown"));
      out.resize(std::min(out.size() * 2, kMaxInflated + 1));
    }
    if (stream_.avail_in > 0) throw Fault("there are bytes behind the zlib stream");
    out.resize(stream_.total_out);
    return out;
  }

 private:
  z_stream stream_{};
};

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

/// Undoes the one way in which a text may be encoded, in place.
void percentDecodeStrictly(std::string& text) {
  std::size_t end = 0;
  for (std::size_t at = 0; at < text.size(); ++at) {
    if (kUnreserved[static_cast<unsigned char>(text[at])]) {
      text[end++] = text[at];
      continue;
    }
    if (text[at] != '%') {
      throw Fault(
          fmt::format("byte 0x{:02X} at {} should be percent-encoded", static_cast<unsigned char>(text[at]), at));
    }
    const int high = text.size() - at < 3 ? -1 : upperHex(text[at + 1]);
    const int low = high < 0 ? -1 : upperHex(text[at + 2]);
    if (low < 0) throw Fault(fmt::format("the percent sign at {} needs two upper-case hexadecimal digits", at));
    text[end++] = static_cast<char>(high * 16 + low);
    at += 2;
  }
  text.resize(end);
}

}  // namespace

std::string decodeUpload(std::string_view body) {
  if (body.empty()) throw Fault("no body");
  if (body.substr(0, 2) == "\x1f\x8b") throw Fault("the body is a gzip member, not a zlib stream");
  auto text = Inflater(body).run();
  percentDecodeStrictly(text);
  if (!isUtf8(text)) throw Fault("the decoded body is not UTF-8");
  return text;
}

}  // namespace zul::collector
