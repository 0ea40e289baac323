#include <gmock/gmock.h>
#include <zlib.h>

#include <random>

#include "PercentCoding.h"
#include "QZ_GZIP.h"
#include "UploadBody.h"

namespace zul {
namespace {

std::string noise(std::size_t size) {
  std::mt19937 random(42);
  std::string out(size, '\0');
  for (char& c : out) c = static_cast<char>(random());
  return out;
}

std::string json(std::size_t size) {
  std::string out;
  for (int i = 0; out.size() < size; ++i) out += R"({"sid":")" + std::to_string(i * 7919) + R"(","제목":"값 & 100%"},)";
  out.resize(size);
  return out;
}

TEST(QZ_GZIP, writesZlibStreamsThatRoundTrip) {
  // Sizes around the growth of the output, with input that cannot shrink and input that nearly vanishes.
  for (const std::size_t size : {1, 2, 16383, 16384, 16385, 300000}) {
    for (const auto& data : {noise(size), std::string(size, 'a'), json(size)}) {
      const auto packed = QZ_GZIP::gzippedDataWithCompressionLevel(9.0F, data);
      ASSERT_TRUE(packed) << size;
      EXPECT_EQ(packed->substr(0, 2), "\x78\x9c");
      std::string trailer;
      const auto sum = adler32(1, reinterpret_cast<const Bytef*>(data.data()), static_cast<uInt>(data.size()));
      for (int shift = 24; shift >= 0; shift -= 8) trailer += static_cast<char>(sum >> shift & 0xFF);
      EXPECT_EQ(packed->substr(packed->size() - 4), trailer);
      EXPECT_EQ(packed, QZ_GZIP::gzippedData(data));
      EXPECT_EQ(QZ_GZIP::gunzippedData(*packed), data) << size;
    }
  }
  EXPECT_EQ(QZ_GZIP::gzippedData(""), std::nullopt);
}

TEST(QZ_GZIP, readsGzipMembersAndIgnoresWhatFollows) {
  const unsigned char member[] = {0x1f, 0x8b, 8,    0,    0,    0,    0,    0,    2,    3,
                                  0xcb, 0x48, 0xcd, 0xc9, 0xc9, 0x57, 0xa8, 0xca, 0xc9, 0x4c,
                                  0x02, 0x00, 0xd1, 0x4b, 0xb3, 0x96, 0x0a, 0,    0,    0};
  const std::string packed(reinterpret_cast<const char*>(member), sizeof member);
  EXPECT_EQ(QZ_GZIP::gunzippedData(packed), "hello zlib");
  EXPECT_EQ(QZ_GZIP::gunzippedData(packed + "trailing"), "hello zlib");
}

TEST(QZ_GZIP, damagedStreamsGiveNothing) {
  const auto data = json(5000);
  const auto packed = QZ_GZIP::gzippedData(data).value();
  for (std::size_t length = 0; length < packed.size(); ++length) {
    EXPECT_EQ(QZ_GZIP::gunzippedData(packed.substr(0, length)), std::nullopt) << length;
  }
  for (std::size_t bit = 0; bit < packed.size() * 8; ++bit) {
    auto flipped = packed;
    flipped[bit / 8] = static_cast<char>(flipped[bit / 8] ^ 1 << bit % 8);
    // The few padding bits in front of the trailer may flip unseen; the content never changes unseen.
    EXPECT_TRUE(QZ_GZIP::gunzippedData(flipped).value_or(data) == data) << bit;
  }
  for (const char* junk : {"x", "\x78", "\x1f\x8b", "plain text, not a stream at all"}) {
    EXPECT_EQ(QZ_GZIP::gunzippedData(junk), std::nullopt) << junk;
  }
}

TEST(QZ_GZIP, theLimitStopsBombs) {
  const std::string data(10 << 20, '\0');
  const auto packed = QZ_GZIP::gzippedData(data).value();
  ASSERT_LT(packed.size(), 20000U);
  EXPECT_EQ(QZ_GZIP::gunzippedData(packed, data.size()), data);
  EXPECT_EQ(QZ_GZIP::gunzippedData(packed, data.size() - 1), std::nullopt);
  EXPECT_EQ(QZ_GZIP::gunzippedData(packed, 0), std::nullopt);
}

TEST(UploadBody, inflatesToTheEncodedDocument) {
  constexpr std::size_t kPiece = 64 * 1024;
  for (const std::size_t size : {std::size_t{1}, kPiece - 1, kPiece, kPiece + 1, 2 * kPiece, 3 * kPiece + 17}) {
    // The pieces cut through characters, and noise is not UTF-8 at all.
    for (const auto& document : {json(size), noise(size), std::string(size, 'a')}) {
      const auto body = uploadBody(document);
      ASSERT_TRUE(body) << size;
      EXPECT_EQ(body->substr(0, 2), "\x78\x9c");
      EXPECT_EQ(QZ_GZIP::gunzippedData(*body), percentEncode(document)) << size;
    }
  }
  EXPECT_EQ(uploadBody(""), std::nullopt);
}

}  // namespace
}  // namespace zul
