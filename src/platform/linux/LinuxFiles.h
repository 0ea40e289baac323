#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace zul::platform {

/// The bytes of a regular file of at most `limit` bytes; none otherwise, and then `error`, when given, says why.
/// It stays empty for a file that does not exist.
std::optional<std::string> readFile(const std::string& path, std::size_t limit, std::string* error = nullptr);

/// Replaces or creates `path` so that a reader sees the old content or the new one, never a part. The file is
/// the user's alone, and so are the folders made for it. False when that failed.
bool replaceFile(const std::string& path, std::string_view text);

/// The path of the running program; empty when it cannot be told.
std::string executablePath();

}  // namespace zul::platform
