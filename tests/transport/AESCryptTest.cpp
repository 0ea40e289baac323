#include <gmock/gmock.h>

#include "AESCrypt.h"

namespace zul {
namespace {

constexpr std::string_view kKey = "hxQoPvNq4rTeLwbj";

AESCrypt::Bytes bytes(std::string_view text) {
  return std::as_bytes(std::span(text));
}

std::string text(const std::vector<std::byte>& data) {
  return {reinterpret_cast<const char*>(data.data()), data.size()};
}

TEST(AESCrypt, knownAnswers) {
  // From `openssl enc -aes-128-cbc` with the key as initialization vector.
  const struct {
    std::string_view key, plain, cipher;
  } cases[] = {
      {kKey, "TOKEN", "xSJkzK+uVUUzG+q0e24gEg=="},
      {kKey, "FRP", "WX2aT/3XDTuJzTj+gpbyAw=="},
      {kKey, "ZUL", "PjhPhqxo8cd84LGpyhkIZA=="},
      {kKey, "", "jnNlRq8scjBU2RGPBKyoWw=="},
      {kKey, "0123456789abcde", "R0LkOLVtRab+FhHHnXaGtg=="},
      {kKey, "0123456789abcdef", "uHYUmQWm/VV8XCBLXcYxVJKh2kLy14B972F02T+EyQ8="},
      {"short", "hé", "A5tBZtjOAEzG1OwbK7apvg=="},
      {"hxQoPvNq4rTeLwbj and what a long key has beyond", "ZUL", "PjhPhqxo8cd84LGpyhkIZA=="},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(AESCrypt::AES256EncryptWithKey(c.plain, c.key), c.cipher);
    EXPECT_EQ(AESCrypt::AES256DecryptWithKey(c.cipher, c.key), c.plain);
  }
}

TEST(AESCrypt, whatDoesNotDecryptGivesNothing) {
  const char* cases[] = {
      "",                          // not even a padding block
      "xSJkzK+uVUUzG+q0e24g",      // not whole blocks
      "WX2aT/3XDTuJzTj+gpbyBA==",  // damaged padding
      "7PTzws3ltWQCjhEQzXlVHA==",  // decrypts to FF FE, which is not UTF-8
  };
  for (const auto* cipher : cases) EXPECT_EQ(AESCrypt::AES256DecryptWithKey(cipher, kKey), std::nullopt) << cipher;
  const auto notUtf8 = AESCrypt::AES256DecryptWithKey1(AESCrypt::dataWithBase64EncodedString(cases[3]), kKey);
  EXPECT_EQ(text(notUtf8.value()), "\xFF\xFE");
}

TEST(AESCrypt, base64Encoding) {
  EXPECT_EQ(AESCrypt::base64Encoding(bytes("")), "");
  EXPECT_EQ(AESCrypt::base64Encoding(bytes("\xFB\xFF\xBF")), "+/+/");
  const struct {
    std::size_t lineLength;
    std::string_view expected;
  } cases[] = {{0, "Zm9vYmFyYg=="}, {4, "Zm9v\nYmFy\nYg==\n"}, {5, "Zm9vY\nmFyYg\n=="}, {64, "Zm9vYmFyYg=="}};
  for (const auto& c : cases) {
    EXPECT_EQ(AESCrypt::base64EncodingWithLineLength(bytes("foobarb"), c.lineLength), c.expected);
  }
}

TEST(AESCrypt, base64Decoding) {
  const struct {
    std::optional<std::string_view> base64;
    std::string_view expected;
  } cases[] = {
      {std::nullopt, ""},
      {"", ""},
      {"QUJD", "ABC"},
      {"QQ==", "A"},
      {"QQ=", "A"},
      {"QUI=", "AB"},
      {"QQ", ""},            // a short group counts only in front of "="
      {"QUJDQUI", "ABC"},    //
      {"Q=", "@"},           // one pending character still gives a byte
      {"=QUJD", ""},         // the first "=" ends the text
      {"QUJD=QUJD", "ABC"},  //
      {" Q\r\nU-_J\tD\xC3\xA9!", "ABC"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(text(AESCrypt::dataWithBase64EncodedString(c.base64)), c.expected) << c.base64.value_or("none");
  }
  std::string all;
  for (int i = 0; i < 256; ++i) all += static_cast<char>(i);
  EXPECT_EQ(text(AESCrypt::dataWithBase64EncodedString(AESCrypt::base64EncodingWithLineLength(bytes(all), 76))), all);
}

}  // namespace
}  // namespace zul
