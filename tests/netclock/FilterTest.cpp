#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

#include "ClockCombination.h"
#include "ClockFilter.h"
#include "NtpPacket.h"

namespace zul {
namespace {

constexpr double kBad = std::numeric_limits<double>::infinity();
const double kNan = std::nan("");

// Worked out by hand. `spread` below is the root of the mean of the squared deviations.
TEST(FilterTest, OffsetAndTrustAfterEachRow) {
  struct Case {
    const char* what;
    std::vector<double> samples;
    double offset;
    bool trusty;
  };
  const std::vector<Case> cases = {
      {"one good sample has no spread", {-120}, -120, true},
      {"below a tenth of a millisecond it is bad", {0.00009}, 0, false},
      {"from there on good", {0.0001}, 0.0001, true},
      {"two: mean 2, spread 1", {1, 3}, 2, false},
      {"two: mean 10, spread 1", {9, 11}, 10, true},
      {"mean 3, spread 1: it has to be more than three times", {2, 4}, 3, false},
      {"bad ones do not count in the mean", {kBad, 10, -kBad, 0}, 10, true},
      {"three bad ones alone change nothing", {kBad, kBad, kBad}, 0, false},
      {"four bad ones alone: not a number, not trusted", {kBad, 0, kBad, 0}, kNan, false},
      {"one good, three bad, four empty: enough", {5, kBad, kBad, kBad}, 5, true},
      {"one good, four bad: only good and empty ones speak for it", {5, kBad, kBad, kBad, kBad}, 5, false},
      {"five good of eight are enough", {5, 5, 5, 5, 5, kBad, kBad, kBad}, 5, true},
      {"four are not", {5, 5, 5, 5, kBad, kBad, kBad, kBad}, 5, false},
      // Mean 0.00055; both deviate by 0.00035, and are not asked to.
      {"below a millisecond a sample has no deviation", {0.0002, 0.0009}, 0.00055, true},
      // Mean 0.001; only the second deviates, by 0.0008: spread 0.00057.
      {"from there on it has", {0.0002, 0.0018}, 0.001, false},
      {"eight alike", {1, 1.1, 1, 1.1, 1, 1.1, 1, 1.1}, 1.05, true},
      {"an exact clock: mean zero", {0.01, -0.01, 0.01, -0.01, 0.01, -0.01, 0.01, -0.01}, 0, false},
      {"the ninth takes the place of the first", {1000, 1, 1, 1, 1, 1, 1, 1, 1}, 1, true},
  };
  for (const auto& c : cases) {
    ClockFilter filter;
    for (const double sample : c.samples) filter.add(sample);
    EXPECT_EQ(filter.trusty(), c.trusty) << c.what;
    if (std::isnan(c.offset)) {
      EXPECT_TRUE(std::isnan(filter.offset())) << c.what;
    } else {
      EXPECT_NEAR(filter.offset(), c.offset, 1e-12) << c.what;
    }
    EXPECT_EQ(filter.fifoIndex(), c.samples.size() % 8) << c.what;
  }
}

TEST(FilterTest, TrustOutlastsAResetUntilThereIsAVerdict) {
  ClockFilter filter;
  EXPECT_TRUE(std::isinf(filter.offset()));
  filter.add(7);
  filter.reset();
  EXPECT_TRUE(filter.trusty());
  EXPECT_EQ(filter.offset(), 7);
  for (int n = 0; n < 3; ++n) filter.add(kBad);
  EXPECT_TRUE(filter.trusty());
  EXPECT_EQ(filter.offset(), 0);
  filter.add(kBad);
  EXPECT_FALSE(filter.trusty());
}

// Asked at 100.5, came at 220.75, left at 221, decoded at 101.25.
ntp::Answer fit() {
  return {.stratum = 2,
          .mode = 4,
          .dispersion = 5,
          .reference = {200, 0},
          .originate = {100, 0x80000000},
          .receive = {220, 0xC0000000},
          .transmit = {221, 0}};
}

TEST(SampleTest, OnlyFitAnswersHaveAnOffset) {
  const NtpTime asked{100, 0x80000000};
  const NtpTime arrived{101, 0x40000000};
  const auto sample = sampleOf(fit(), asked, arrived);
  EXPECT_EQ(sample.offset, (101.25 - 221 + 100.5 - 220.75) / 2);  // the device is behind
  EXPECT_EQ(sample.roundtrip, 0.5);

  const auto isFit = [&](auto change) {
    auto answer = fit();
    change(answer);
    return std::isfinite(sampleOf(answer, asked, arrived).offset);
  };
  EXPECT_TRUE(isFit([](auto& a) { a.stratum = 255; }));
  EXPECT_FALSE(isFit([](auto& a) { a.stratum = 0; }));
  EXPECT_FALSE(isFit([](auto& a) { a.mode = 3; }));
  EXPECT_FALSE(isFit([](auto& a) { a.mode = 5; }));
  EXPECT_TRUE(isFit([](auto& a) { a.dispersion = 49.99; }));
  EXPECT_FALSE(isFit([](auto& a) { a.dispersion = 50; }));
  EXPECT_FALSE(isFit([](auto& a) { a.dispersion = 0; }));
  EXPECT_FALSE(isFit([](auto& a) { a.reference = {161, 0}; }));  // a minute before it left
  EXPECT_TRUE(isFit([](auto& a) { a.reference = {161, 1}; }));
  EXPECT_TRUE(isFit([](auto& a) { a.reference = {400, 0}; }));  // after it left
}

TEST(CombinationTest, TheEightTrustedOnesOfLeastDispersionAreAveraged) {
  std::vector<ClockCombination::Server> servers;
  for (int n = 0; n < 12; ++n) {
    servers.push_back({.active = true, .trusty = true, .offset = n + 1.0, .dispersion = 12.0 - n});
  }
  EXPECT_EQ(combine(servers).offset, (5 + 6 + 7 + 8 + 9 + 10 + 11 + 12) / 8.0);
  EXPECT_TRUE(combine(servers).givenUp.empty());

  // Of those that answer and are not to be trusted, as many go as there are too many.
  for (auto& server : servers) server.trusty = false;
  EXPECT_EQ(combine(servers).offset, std::nullopt);
  EXPECT_EQ(combine(servers).givenUp, (std::vector<std::size_t>{11, 10, 9, 8}));
  servers[11].active = false;
  servers[0].trusty = true;
  EXPECT_EQ(combine(servers).givenUp, (std::vector<std::size_t>{10, 9, 8, 7}));
  EXPECT_EQ(combine(servers).offset, 1);
  EXPECT_TRUE(combine(std::span(servers).first(8)).givenUp.empty());

  // Behind the eighth trusted one nobody is looked at.
  for (auto& server : servers) server.active = server.trusty = true;
  servers[0].trusty = false;
  EXPECT_TRUE(combine(servers).givenUp.empty());
  EXPECT_EQ(combine({}).offset, std::nullopt);
}

}  // namespace
}  // namespace zul
