#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <vector>

#include "ClockFilter.h"
#include "NHNetAssociation.h"
#include "NtpPacket.h"
#include "SimulatedPlatform.h"

namespace zul {
namespace {

constexpr std::uint32_t kHalf = 0x80000000;

std::vector<std::byte> bytes(const std::vector<int>& values) {
  std::vector<std::byte> result;
  for (const int value : values) result.push_back(static_cast<std::byte>(value));
  return result;
}

TEST(PacketTest, AQuestionAndAnAnswerByteForByte) {
  const auto question = ntp::query({0xE9A1B2C3, 0x01020304});
  auto expected = std::vector<int>{0x23, 0, 4, 0xFA, 0, 1, 0, 0, 0, 1, 0, 0};
  expected.resize(40);
  for (const int byte : {0xE9, 0xA1, 0xB2, 0xC3, 1, 2, 3, 4}) expected.push_back(byte);
  EXPECT_EQ(std::vector(question.begin(), question.end()), bytes(expected));

  std::vector<int> values = {0xE4, 2, 6, 0xE9, 0, 0, 0, 9, 0, 0, 0x0C, 0xCD};
  for (int byte = 12; byte < 60; ++byte) values.push_back(byte);  // longer than an answer
  const auto answer = ntp::readAnswer(bytes(values));
  EXPECT_EQ(answer.mode, 4);
  EXPECT_EQ(answer.stratum, 2);
  EXPECT_NEAR(answer.dispersion, 50.003, 0.001);
  EXPECT_EQ(answer.reference, (NtpTime{0x10111213, 0x14151617}));
  EXPECT_EQ(answer.originate, (NtpTime{0x18191A1B, 0x1C1D1E1F}));
  EXPECT_EQ(answer.receive, (NtpTime{0x20212223, 0x24252627}));
  EXPECT_EQ(answer.transmit, (NtpTime{0x28292A2B, 0x2C2D2E2F}));

  values.resize(42);  // a short one is read as far as it goes
  EXPECT_EQ(ntp::readAnswer(bytes(values)).receive, answer.receive);
  EXPECT_EQ(ntp::readAnswer(bytes(values)).transmit, (NtpTime{0x28290000, 0}));
  EXPECT_EQ(ntp::readAnswer({}).mode, 0);
}

TEST(PacketTest, NoBytesDoHarm) {
  std::minstd_rand random(1);
  for (int n = 0; n < 20'000; ++n) {
    std::vector<std::byte> datagram(random() % 100);
    for (auto& byte : datagram) byte = static_cast<std::byte>(random());
    const auto answer = ntp::readAnswer(datagram);
    const auto sample = sampleOf(answer, answer.originate, {static_cast<std::uint32_t>(random()), 5});
    EXPECT_FALSE(std::isnan(sample.offset));
    EXPECT_TRUE(std::isinf(sample.offset) || std::abs(sample.offset) < 4'294'967'296) << sample.offset;
    EXPECT_GE(answer.dispersion, 0);
  }
}

TEST(TimeTest, MomentsAreConverted) {
  const auto time = unix2ntp({1'700'000'000, 250'000});
  EXPECT_EQ(time, (NtpTime{3'908'988'800, 1'073'743'971}));  // the half microsecond makes up for what is cut off
  EXPECT_EQ(ntp2unix(time).seconds, 1'700'000'000);
  EXPECT_EQ(ntp2unix(time).microseconds, 250'000);
  EXPECT_NEAR(NHNetAssociation::dateFromNetworkTime({3'908'988'800, kHalf}), 1'700'000'000.5, 1e-6);
  // February 2036, where the seconds begin anew.
  EXPECT_EQ(unix2ntp({2'085'978'496, 0}).seconds, 0U);
  EXPECT_EQ(ntp2unix({5, 0}).seconds, 2'085'978'501);

  platform::SimulatedPlatform sim;
  NtpTime now;
  sim.clock->set(1'700'000'000.25);
  EXPECT_EQ(ntp_time_now(*sim.clock, now), 0);
  EXPECT_EQ(now, time);
  sim.clock->set(NAN);
  EXPECT_EQ(ntp_time_now(*sim.clock, now), -1);
}

TEST(TimeTest, DifferencesAreSignedAndCrossTheEra) {
  struct Case {
    NtpTime start, end;
    double seconds;
  };
  const std::vector<Case> cases = {{{100, 0}, {101, kHalf}, 1.5},      {{100, kHalf}, {101, 0}, 0.5},
                                   {{101, 0}, {100, kHalf}, -0.5},     {{100, 1}, {100, 0}, -1.0 / 4294967296},
                                   {{0xFFFFFFFF, kHalf}, {1, 0}, 1.5}, {{1, 0}, {0xFFFFFFFF, kHalf}, -1.5}};
  for (const auto& c : cases) EXPECT_EQ(ntpDiffSeconds(c.start, c.end), c.seconds) << c.seconds;
}

}  // namespace
}  // namespace zul
