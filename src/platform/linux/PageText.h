#pragma once

#include <string>
#include <string_view>

namespace zul::platform {

/// What "document.body.textContent" gives for an answer with this Content-Type: of a HTML page the text in its body,
/// that of scripts and styles among it; of JSON and other text all of it. Without a type, what begins with a tag is
/// HTML and anything else is text. It is read as UTF-8: what is none, and a NUL, becomes U+FFFD.
///
/// Throws std::runtime_error for what a browser shows no text of, and for HTML that is made to keep its reader busy:
/// nested deeper than 256 elements, or with a tag longer than 64 KiB.
std::string pageText(std::string_view contentType, std::string_view answer);

}  // namespace zul::platform
