#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace zul {

/// The cipher of the collector's "authType" header and the base64 form of its output. Pure functions,
/// any thread.
///
/// In spite of the names the cipher is AES-128 in CBC mode with PKCS#7 padding; the collector decrypts
/// with the same. The first 16 bytes of the key text, filled up with zeros, are the key and the
/// initialization vector; whatever a longer key has beyond them counts for neither.
class AESCrypt {
 public:
  using Bytes = std::span<const std::byte>;

  /// The cipher bytes: one to sixteen more than `plain` has. None when the cipher fails.
  static std::optional<std::vector<std::byte>> AES256EncryptWithKey(Bytes plain, std::string_view key);

  /// The plain bytes; none when the length or the padding is wrong.
  static std::optional<std::vector<std::byte>> AES256DecryptWithKey1(Bytes cipher, std::string_view key);

  /// The cipher bytes of `text` in base64, on one line.
  static std::optional<std::string> AES256EncryptWithKey(std::string_view text, std::string_view key);

  /// The way back from base64 cipher bytes; none also when what comes out is not UTF-8.
  static std::optional<std::string> AES256DecryptWithKey(std::string_view base64, std::string_view key);

  static std::string base64Encoding(Bytes data);

  /// With a line feed behind every `lineLength` characters, the last ones included; 0: no line feeds.
  static std::string base64EncodingWithLineLength(Bytes data, std::size_t lineLength);

  /// Reads base64 leniently: foreign characters are skipped, the first "=" ends the text, and a group of
  /// fewer than four characters counts only in front of an "=". None gives no bytes.
  static std::vector<std::byte> dataWithBase64EncodedString(std::optional<std::string_view> text);
};

}  // namespace zul
