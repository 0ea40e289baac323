#include <benchmark/benchmark.h>

#include <algorithm>
#include <memory>
#include <string>
#include <string_view>

#include "Benches.h"
#include "CampaignLink.h"
#include "Measurements.h"
#include "ZULUtil.h"

namespace zul::bench {

namespace {

constexpr double kNow = 1'700'000'000'000;  // ms

// As long as a link may be, with the keys of one and values that need decoding.
std::string longLink() {
  std::string link = "shop://item/7?_qzs=paper&_qzm=banner&_qzc=sum%20mer&_qzp=7&_qzclkTime=1699999999000";
  while (link.size() < kMaxLink - 40) link += "&key" + std::to_string(link.size()) + "=some%20value%2F" + "and%3Dmore";
  return link;
}

// The least that any parser does: it looks at each byte once.
std::ptrdiff_t scan(std::string_view text) {
  return std::count_if(text.begin(), text.end(), [](char c) { return c == '?' || c == '&' || c == '=' || c == '%'; });
}

template <typename Parse>
void add(const char* name, Parse parse) {
  benchmark::RegisterBenchmark(name, [parse, link = longLink()](benchmark::State& state) {
    for (auto _ : state) benchmark::DoNotOptimize(parse(link));
  })->UseRealTime();
}

}  // namespace

void benchAttribution(Table& table) {
  add("link", [](const std::string& link) { return parseCampaignLink(link, kNow); });
  add("query", [](const std::string& link) { return ZULUtil::parseUrlString(link); });
  add("scan", [](const std::string& link) { return scan(link); });

  const Measurements measurements;
  const auto bytes = static_cast<double>(longLink().size());
  const auto speed = [&](const char* name) { return bytes / measurements.microseconds(name); };  // MB/s
  const char* const raw = "a scan of the same bytes";
  table.add({"parseDeepLink, reading a link of 64 KiB", "MB/s", speed("link"), raw, speed("scan")});
  table.add({"parseUrlString, the same", "MB/s", speed("query"), raw, speed("scan")});
}

}  // namespace zul::bench
