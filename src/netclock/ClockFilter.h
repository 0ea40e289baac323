#pragma once

#include <array>
#include <cstdint>

namespace zul {

/// Judges one time server by its last eight offsets: samples in, offset and trust out. A plain value.
class ClockFilter {
 public:
  using Fifo = std::array<double, 8>;

  /// No offset before the first sample.
  ClockFilter();

  /// Forgets the samples, not what they led to.
  void reset();

  /// Takes the offset of one answer in seconds, infinite when the answer was unfit, and judges anew.
  void add(double sample);

  const Fifo& fifo() const { return fifo_; }  ///< not a number: an empty slot
  std::int16_t fifoIndex() const { return fifoIndex_; }
  double offset() const { return offset_; }
  bool trusty() const { return trusty_; }

 private:
  Fifo fifo_{};
  std::int16_t fifoIndex_ = 0;
  double offset_;
  bool trusty_ = false;
};

/// What one answer means for the device's clock, in seconds; `offset` is infinite when the answer is unfit.
struct ClockSample {
  double offset = 0;     ///< device minus server
  double roundtrip = 0;  ///< on the network
};

namespace ntp {
struct Answer;
}
struct NtpTime;

/// Of an answer to what was asked at `asked`, decoded at `arrived`, both by the device's clock. The offset is wrong by
/// at most half the round trip.
ClockSample sampleOf(const ntp::Answer& answer, const NtpTime& asked, const NtpTime& arrived);

}  // namespace zul
