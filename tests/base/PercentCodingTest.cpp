#include <gtest/gtest.h>

#include "PercentCoding.h"
#include "Utf8.h"

namespace zul {
namespace {

TEST(PercentCoding, EveryByteComesBack) {
  std::string bytes;
  for (int c = 0; c < 256; ++c) bytes += static_cast<char>(c);
  const auto encoded = percentEncode(bytes);
  EXPECT_EQ(percentDecode(encoded), bytes);
  EXPECT_EQ(encoded.find_first_not_of("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._~%"),
            std::string::npos);
  EXPECT_EQ(percentEncode("aZ09-._~"), "aZ09-._~");
  EXPECT_EQ(percentEncode("a b&\xC3\xA9"), "a%20b%26%C3%A9");
}

TEST(PercentCoding, BrokenCodesAreNone) {
  for (const auto* text : {"%", "%4", "%G0", "a%0"}) EXPECT_EQ(percentDecode(text), std::nullopt) << text;
  EXPECT_EQ(percentDecode("a+b%2b"), "a+b+");
}

TEST(PercentCoding, TellsUtf8FromOtherBytes) {
  for (const auto* text : {"", "abc", "\xC3\xA9", "\xE2\x82\xAC", "\xF0\x9F\x91\x89", "\xF4\x8F\xBF\xBF"}) {
    EXPECT_TRUE(isUtf8(text)) << text;
  }
  for (const auto* text :
       {"\x80", "\xC3", "\xC0\xAF", "\xE0\x80\xAF", "\xED\xA0\x80", "\xF4\x90\x80\x80", "\xF0\x9F\x91", "\xFF"}) {
    EXPECT_FALSE(isUtf8(text));
  }
}

}  // namespace
}  // namespace zul
