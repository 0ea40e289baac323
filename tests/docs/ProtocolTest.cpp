// The bytes in docs/protocol.md, which python3 has made, are the ones that the library sends.

#include <fmt/format.h>
#include <gmock/gmock.h>

#include <string>

#include "TemporaryFolder.h"
#include "UploadBody.h"

namespace zul {
namespace {

std::string between(const std::string& text, const std::string& begin, const std::string& end) {
  const auto from = text.find(begin);
  if (from == text.npos) return "";
  const auto start = from + begin.size();
  return text.substr(start, text.find(end, start) - start);
}

TEST(ProtocolTest, TheWorkedExampleIsWhatTheLibrarySends) {
  const auto page = test::contents(ZUL_PROTOCOL_DOCUMENT);
  const auto document = between(page, "document = '", "'\n");
  const auto bytes = between(page, "```text\n", "\n");
  ASSERT_FALSE(document.empty());
  std::string hex;
  for (const unsigned char byte : uploadBody(document).value_or("")) hex += fmt::format("{:02x}", byte);
  EXPECT_EQ(hex, bytes);
}

}  // namespace
}  // namespace zul
