// Answers to the default web view: a Content-Type, a line feed, and what came with it, through libxml2.

#include "PageText.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <stdexcept>
#include <string>
#include <string_view>

#include "Utf8.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view input(reinterpret_cast<const char*>(data), size);
  const auto line = input.substr(0, input.find('\n'));
  try {
    const std::string text = zul::platform::pageText(line, input.substr(std::min(line.size() + 1, size)));
    // A byte that is no UTF-8 becomes three; nothing else makes a page longer.
    if (!zul::isUtf8(text) || text.size() > 3 * size) std::abort();
  } catch (const std::runtime_error&) {  // no page
  }
  return 0;
}
