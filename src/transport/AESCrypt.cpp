#include "AESCrypt.h"

#include <openssl/crypto.h>
#include <openssl/err.h>
#include <openssl/evp.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <memory>

#include "Utf8.h"

namespace zul {

namespace {

constexpr std::size_t kBlock = 16;
constexpr std::string_view kAlphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

constexpr std::array<std::int8_t, 256> kValues = [] {
  std::array<std::int8_t, 256> values{};
  values.fill(-1);
  for (std::size_t i = 0; i < kAlphabet.size(); ++i) {
    values[static_cast<unsigned char>(kAlphabet[i])] = static_cast<std::int8_t>(i);
  }
  return values;
}();

enum Direction { decrypt = 0, encrypt = 1 };

std::optional<std::vector<std::byte>> crypt(Direction direction, AESCrypt::Bytes in, std::string_view keyText) {
  // The first user of OpenSSL decides whether it tears itself down at exit, under threads that still use it.
  OPENSSL_init_crypto(OPENSSL_INIT_NO_ATEXIT, nullptr);
  std::array<unsigned char, kBlock> key{};
  std::copy_n(keyText.begin(), std::min(keyText.size(), kBlock), key.begin());
  std::vector<std::byte> out(in.size() + kBlock);
  const std::unique_ptr<EVP_CIPHER_CTX, decltype(&EVP_CIPHER_CTX_free)> context(EVP_CIPHER_CTX_new(),
                                                                                EVP_CIPHER_CTX_free);
  const auto position = [&out](std::size_t at) { return reinterpret_cast<unsigned char*>(out.data() + at); };

  // The error queue belongs to the thread, and the thread may be the host's: leave it as it was.
  ERR_set_mark();
  std::size_t written = 0;
  int count = 0;
  bool good =
      context && EVP_CipherInit_ex(context.get(), EVP_aes_128_cbc(), nullptr, key.data(), key.data(), direction) == 1;
  while (good && !in.empty()) {
    const auto piece = in.first(std::min<std::size_t>(in.size(), 1U << 30));  // lengths are of type int
    in = in.subspan(piece.size());
    good = EVP_CipherUpdate(context.get(), position(written), &count,
                            reinterpret_cast<const unsigned char*>(piece.data()), static_cast<int>(piece.size())) == 1;
    written += static_cast<std::size_t>(count);
  }
  good = good && EVP_CipherFinal_ex(context.get(), position(written), &count) == 1;
  ERR_pop_to_mark();
  if (!good) return std::nullopt;
  out.resize(written + static_cast<std::size_t>(count));
  return out;
}

}  // namespace

std::optional<std::vector<std::byte>> AESCrypt::AES256EncryptWithKey(Bytes plain, std::string_view key) {
  return crypt(encrypt, plain, key);
}

std::optional<std::vector<std::byte>> AESCrypt::AES256DecryptWithKey1(Bytes cipher, std::string_view key) {
  return crypt(decrypt, cipher, key);
}

std::optional<std::string> AESCrypt::AES256EncryptWithKey(std::string_view text, std::string_view key) {
  const auto cipher = AES256EncryptWithKey(std::as_bytes(std::span(text)), key);
  if (!cipher) return std::nullopt;
  return base64Encoding(*cipher);
}

std::optional<std::string> AESCrypt::AES256DecryptWithKey(std::string_view base64, std::string_view key) {
  const auto plain = AES256DecryptWithKey1(dataWithBase64EncodedString(base64), key);
  if (!plain) return std::nullopt;
  std::string text(reinterpret_cast<const char*>(plain->data()), plain->size());
  if (!isUtf8(text)) return std::nullopt;
  return text;
}

std::string AESCrypt::base64Encoding(Bytes data) {
  return base64EncodingWithLineLength(data, 0);
}

std::string AESCrypt::base64EncodingWithLineLength(Bytes data, std::size_t lineLength) {
  std::string out;
  const std::size_t length = (data.size() + 2) / 3 * 4;
  out.reserve(length + (lineLength > 0 ? length / lineLength : 0));
  std::size_t column = 0;
  for (; !data.empty(); data = data.subspan(std::min<std::size_t>(data.size(), 3))) {
    const std::size_t bytes = std::min<std::size_t>(data.size(), 3);
    unsigned group = 0;
    for (std::size_t i = 0; i < 3; ++i) group = group << 8 | (i < bytes ? std::to_integer<unsigned>(data[i]) : 0);
    for (std::size_t i = 0; i < 4; ++i) {
      out += i <= bytes ? kAlphabet[group >> (18 - 6 * i) & 0x3F] : '=';
      if (++column == lineLength) {
        out += '\n';
        column = 0;
      }
    }
  }
  return out;
}

std::vector<std::byte> AESCrypt::dataWithBase64EncodedString(std::optional<std::string_view> text) {
  std::vector<std::byte> out;
  if (!text) return out;
  out.reserve(text->size() / 4 * 3 + 2);
  unsigned group = 0;
  int pending = 0;
  const auto write = [&](int bytes) {
    for (int i = 0; i < bytes; ++i) out.push_back(static_cast<std::byte>(group >> (16 - 8 * i) & 0xFF));
  };
  for (const char c : *text) {
    if (c == '=') {
      // A single pending character gives a byte too, though it holds only the upper six bits of one.
      constexpr std::array kBytes = {0, 1, 1, 2};
      group <<= 6 * (4 - pending);
      write(kBytes[pending]);
      break;
    }
    const int value = kValues[static_cast<unsigned char>(c)];
    if (value < 0) continue;
    group = group << 6 | static_cast<unsigned>(value);
    if (++pending == 4) {
      write(3);
      group = 0;
      pending = 0;
    }
  }
  return out;
}

}  // namespace zul
