#include "PageText.h"

#include <libxml/HTMLparser.h>

#include <algorithm>
#include <cstddef>
#include <memory>
#include <new>
#include <stdexcept>

#include "Utf8.h"

namespace zul::platform {

namespace {

constexpr int kMaxDepth = 256;
constexpr std::size_t kMaxPage = 512 << 10;  // of HTML: libxml2 compares each new name with all before it
constexpr std::size_t kMaxTag = 8 << 10;     // and each attribute with those of its tag
constexpr std::size_t kPiece = 16 << 10;

bool isBlank(char c) {
  return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\f';
}

bool isLetter(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

std::string mediaType(std::string_view contentType) {
  std::string type;
  for (const char c : contentType.substr(0, contentType.find(';'))) {
    if (!isBlank(c)) type += c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
  }
  return type;
}

bool isHtml(const std::string& type, std::string_view answer) {
  if (type.find('/') != type.npos) return type == "text/html" || type == "application/xhtml+xml";
  const auto first = std::find_if_not(answer.begin(), answer.end(), isBlank);
  return first != answer.end() && *first == '<';
}

bool isText(const std::string& type) {
  return type.find('/') == type.npos || (type.starts_with("text/") && type != "text/xml") ||
         type == "application/json" || type.ends_with("+json") || type == "application/javascript";
}

/// As a browser decodes a page: well-formed UTF-8 without a byte-order mark, NULs and carriage returns.
std::string decoded(std::string_view bytes) {
  constexpr std::string_view kMark = "\xEF\xBB\xBF";
  constexpr std::string_view kReplacement = "\xEF\xBF\xBD";
  if (bytes.starts_with(kMark)) bytes.remove_prefix(kMark.size());
  std::string text;
  text.reserve(bytes.size());
  for (std::size_t at = 0; at < bytes.size();) {
    const std::size_t length = utf8Length(bytes, at);
    if (length == 0 || bytes[at] == '\0') {
      text += kReplacement;
    } else if (bytes[at] != '\r') {
      text += bytes.substr(at, length);
    } else if (at + 1 == bytes.size() || bytes[at + 1] != '\n') {
      text += '\n';
    }
    at += std::max<std::size_t>(length, 1);
  }
  return text;
}

/// Listens to libxml2's HTML parser, which builds no tree then: what it holds is the names of the open elements.
class BodyText {
 public:
  BodyText() {
    xmlInitParser();
    htmlSAXHandler handler{};
    handler.initialized = XML_SAX2_MAGIC;  // else the parser tells a handler that the host may have set of its errors
    handler.serror = [](void*, auto) {};
    handler.startElement = [](void* self, const xmlChar* name, const xmlChar**) {
      static_cast<BodyText*>(self)->begin(name);
    };
    handler.endElement = [](void* self, const xmlChar*) { --static_cast<BodyText*>(self)->depth_; };
    handler.characters = handler.cdataBlock = handler.ignorableWhitespace =
        [](void* self, const xmlChar* text, int length) { static_cast<BodyText*>(self)->add(text, length); };
    parser_.reset(htmlCreatePushParserCtxt(&handler, this, nullptr, 0, nullptr, XML_CHAR_ENCODING_UTF8));
    if (parser_ == nullptr) throw std::bad_alloc();
    htmlCtxtUseOptions(parser_.get(), HTML_PARSE_IGNORE_ENC | HTML_PARSE_NONET);
  }

  std::string of(std::string_view page) {
    if (page.size() > kMaxPage) throw std::runtime_error("the page is too large");
    for (std::size_t fed = 0; fed < page.size();) {
      const std::string_view piece = page.substr(fed, kPiece);
      parse(piece, false);
      fed += piece.size();
      refuseLongTag(page, fed);
    }
    parse({}, true);
    return std::move(text_);
  }

 private:
  struct Free {
    void operator()(xmlParserCtxtPtr parser) const { htmlFreeParserCtxt(parser); }
  };

  void parse(std::string_view piece, bool last) {
    const int error = htmlParseChunk(parser_.get(), piece.data(), static_cast<int>(piece.size()), last);
    if (outOfMemory_ || error == XML_ERR_NO_MEMORY) throw std::bad_alloc();
    if (depth_ > kMaxDepth) throw std::runtime_error("the page is nested too deep");
  }

  /// The parser takes up a tag once it has all of it; what it has not taken up of `page` begins with that tag.
  void refuseLongTag(std::string_view page, std::size_t fed) const {
    const auto taken = static_cast<std::size_t>(std::max(xmlByteConsumed(parser_.get()), 0L));
    if (taken < fed && fed - taken > kMaxTag && page[taken] == '<' && isLetter(page[taken + 1])) {
      throw std::runtime_error("the page has a tag that is too long");
    }
  }

  // No exception may pass through the parser.
  void begin(const xmlChar* name) noexcept {
    if (++depth_ > kMaxDepth) xmlStopParser(parser_.get());
    // It stays: a browser takes what comes after the body's end into the body.
    inBody_ = inBody_ || xmlStrEqual(name, reinterpret_cast<const xmlChar*>("body")) != 0;
  }

  void add(const xmlChar* text, int length) noexcept {
    if (!inBody_ || outOfMemory_) return;
    try {
      text_.append(reinterpret_cast<const char*>(text), static_cast<std::size_t>(length));
    } catch (const std::bad_alloc&) {
      outOfMemory_ = true;
      xmlStopParser(parser_.get());
    }
  }

  std::unique_ptr<xmlParserCtxt, Free> parser_;
  std::string text_;
  bool inBody_ = false;
  bool outOfMemory_ = false;
  int depth_ = 0;
};

}  // namespace

std::string pageText(std::string_view contentType, std::string_view answer) {
  const std::string type = mediaType(contentType);
  if (isHtml(type, answer)) return BodyText().of(decoded(answer));
  if (isText(type)) return decoded(answer);
  throw std::runtime_error("no page, but " + type);
}

}  // namespace zul::platform
