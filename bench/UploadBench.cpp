#include <benchmark/benchmark.h>
#include <fmt/format.h>
#include <zlib.h>

#include <array>
#include <memory>

#include "Benches.h"
#include "Json.h"
#include "Measurements.h"
#include "PercentCoding.h"
#include "Seed.h"
#include "UploadBody.h"

namespace zul::bench {

namespace {

constexpr std::array kCounts = {1, 100, 1000};

// What the queue does for each upload: the newest payload is indented, the others were at their own send.
std::string document(const std::vector<std::string>& payloads, const std::string& newest) {
  std::string text = "[";
  std::size_t size = newest.size() * 2;
  for (const auto& payload : payloads) size += payload.size() + 4;
  text.reserve(size);
  for (const auto& payload : payloads) ((text += "\n  ") += payload) += ',';
  text += "\n  ";
  json::appendPretty(text, newest, 1);
  return text += "\n]";
}

std::vector<std::string> indented(std::vector<std::string> payloads) {
  for (auto& payload : payloads) {
    std::string text;
    json::appendPretty(text, payload, 1);
    payload = std::move(text);
  }
  return payloads;
}

std::string name(int count, const char* suffix = "") {
  return fmt::format("body of {}{}", count, suffix);
}

}  // namespace

void benchUploadBodies(Table& table) {
  for (const int count : kCounts) {
    auto compact = Seed::payloads(count);
    const auto newest = std::make_shared<const std::string>(compact.back());
    compact.pop_back();
    const auto payloads = std::make_shared<const std::vector<std::string>>(indented(std::move(compact)));
    const auto encoded = std::make_shared<const std::string>(percentEncode(document(*payloads, *newest)));
    benchmark::RegisterBenchmark(name(count).c_str(), [payloads, newest](benchmark::State& state) {
      for (auto _ : state) benchmark::DoNotOptimize(uploadBody(document(*payloads, *newest)));
    })->UseRealTime();
    benchmark::RegisterBenchmark(name(count, ", raw").c_str(), [encoded](benchmark::State& state) {
      for (auto _ : state) {
        auto size = compressBound(encoded->size());
        const auto out = std::make_unique_for_overwrite<Bytef[]>(size);
        benchmark::DoNotOptimize(
            compress(out.get(), &size, reinterpret_cast<const Bytef*>(encoded->data()), encoded->size()));
      }
    })->UseRealTime();
  }

  const Measurements measurements;
  for (const int count : kCounts) {
    table.add({fmt::format("upload body of {} payload{}", count, count == 1 ? "" : "s"), "us",
               measurements.microseconds(name(count)), "zlib over the same encoded bytes",
               measurements.microseconds(name(count, ", raw")), Goal::ratioAtMost(1.2)});
  }
}

}  // namespace zul::bench
