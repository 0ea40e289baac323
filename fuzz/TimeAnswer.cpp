// Datagrams of time servers, each in a record of its own, through the decoder and the filter.

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <span>

#include "ClockFilter.h"
#include "NtpPacket.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace zul;
  auto left = std::as_bytes(std::span(data, size));
  ClockFilter filter;
  while (!left.empty()) {
    const std::size_t length = std::min<std::size_t>(std::to_integer<std::size_t>(left[0]) % 64, left.size() - 1);
    const auto answer = ntp::readAnswer(left.subspan(1, length));
    left = left.subspan(1 + length);
    filter.add(sampleOf(answer, answer.originate, answer.reference).offset);
    if (filter.trusty() && !std::isfinite(filter.offset())) std::abort();
  }
  return 0;
}
