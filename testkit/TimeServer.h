#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "NtpPacket.h"

namespace zul::test {

/// What a time server answers, whether it is honest or not. It knows no network.
struct TimeServer {
  using Bytes = std::vector<std::byte>;

  int stratum = 2;  ///< 0: it asks to be left alone
  int mode = ntp::kServerMode;
  double dispersion = 5;           ///< milliseconds
  double referenceAge = 1;         ///< seconds since its clock was set
  double processing = 0;           ///< seconds between question and answer that it owns up to
  std::size_t length = 48;         ///< bytes of the answer
  int answers = 1;                 ///< how many times it answers
  int strays = 0;                  ///< how many datagrams of nobody's come before its answer
  bool answersOlderQuery = false;  ///< its answers are to the question before

  /// The answers to a client's question that comes at `time`, seconds since 1970; none to anything else.
  std::vector<Bytes> answer(std::span<const std::byte> question, double time);

  double lying = 0;     ///< seconds by which each answer is wrong, one ahead and the next behind
  double stepping = 0;  ///< seconds that its clock jumps ahead every ten minutes

  // What it remembers.
  ntp::Packet before{};
  bool ahead = false;
  std::optional<double> first{};  ///< when it was asked first
};

/// Seconds since 1970 as servers tell them; the era is lost.
NtpTime ntpTime(double seconds);

}  // namespace zul::test
