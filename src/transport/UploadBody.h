#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace zul {

/// The body of a data upload: the percent-encoded `document` as a zlib stream, the same bytes that
/// percentEncode and then QZ_GZIP would give. Both steps run in one pass over small pieces, because the
/// encoded form of a long queue is up to three times its size and is never wanted whole.
///
/// Bytes that are not UTF-8 are encoded as they stand. None for an empty document and when zlib cannot
/// start. Any thread.
std::optional<std::string> uploadBody(std::string_view document);

}  // namespace zul
