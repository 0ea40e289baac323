#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>

#include "ClockFilter.h"
#include "Mutex.h"
#include "NtpTime.h"
#include "Tasks.h"

namespace zul {

namespace ntp {
struct Answer;
}
namespace platform {
class Clock;
class Timer;
class UdpSocket;
class UdpSockets;
}  // namespace platform

/// What associations work with, the same for all.
struct NetAssociationServices {
  Tasks tasks;
  std::shared_ptr<const platform::Clock> clock;
  std::shared_ptr<platform::UdpSockets> udp;
  std::uint16_t port;  ///< of the servers
  std::shared_ptr<const std::atomic<bool>> inBackground;
};

/// The exchange with one time server: it asks from time to time, computes the offset of the device's clock from each
/// answer and decides whether the server is to be trusted. Any thread may call it. The questions go out on the main
/// queue, the answers are decoded on a serial queue of the association's own.
///
/// It asks only while it is enabled and the application is not in the background: neither a packet nor a timer is left
/// over there.
class NHNetAssociation : public std::enable_shared_from_this<NHNetAssociation> {
 public:
  /// What is known of the server and of the exchange with it, at one moment.
  struct Fields {
    ClockFilter::Fifo fifo{};    ///< the last eight offsets; not a number: an empty slot
    std::int16_t fifoIndex = 0;  ///< of the slot that is next
    NtpTime originate;           ///< when the last question left, by the device's clock
    NtpTime receive;             ///< when it came, by the server's
    NtpTime transmit;            ///< when the answer left, by the server's
    NtpTime arrived;             ///< when the answer was decoded, by the device's
    NtpTime reference;           ///< when the server's clock was last set
    bool active = false;         ///< an answer has passed all checks
    bool trusty = false;
    double offset = 0;      ///< seconds, device minus server: the mean of the fifo; infinite before the first answer
    double dispersion = 0;  ///< milliseconds
    double roundtrip = 0;   ///< seconds, of the last answer that passed
    int stratum = 0;
    int pollingIntervalIndex = 0;
    double timerWobbleFactor = 1;
  };

  /// Told on the main queue of each answer to the last question, whether it passed the checks or not.
  using Delegate = std::function<void(NHNetAssociation&)>;

  /// `server` is its address as numeric text. Nothing is asked yet.
  NHNetAssociation(std::string server, NetAssociationServices services);
  ~NHNetAssociation();

  /// Forgets the samples and begins to ask, anew where it asked already.
  void enable();
  /// Ends the exchange; only enable() resumes it.
  void finish();
  /// Stops or resumes an enabled association as the application is in the background or not.
  void followApplication();
  /// The device's clock was changed: the samples are void.
  void significantTimeChange();

  void setDelegate(Delegate delegate);

  const std::string& server() const { return server_; }
  Fields fields() const;

  /// "↑ [192.0.2.1] stratum=2; offset=0.1±3.0mS", the arrow pointing down while the server is not trusted. The offset
  /// is in seconds, whatever the unit says.
  std::string description() const;
  std::string prettyPrintTimers() const;

  /// Seconds since 1970.
  static double dateFromNetworkTime(const NtpTime& time);

 private:
  // What asking takes. It is destroyed without the lock.
  struct Polling {
    std::shared_ptr<platform::UdpSocket> socket;
    std::unique_ptr<platform::Timer> timer;
  };

  void start();
  Polling stop() ZUL_REQUIRES(mutex_);
  double drawInterval() ZUL_REQUIRES(mutex_);
  std::unique_ptr<platform::Timer> timer(double seconds, std::uint64_t run);
  void queryTimeServer(std::uint64_t run);
  void sendTimeQuery(std::uint64_t run);
  void received(std::uint64_t run, std::span<const std::byte> datagram);
  bool decodePacket(std::uint64_t run, const ntp::Answer& answer);
  void retunePolling() ZUL_REQUIRES(mutex_);
  void tellDelegate();

  const std::string server_;
  const NetAssociationServices services_;
  const SerialTasks queue_;
  std::atomic<int> undecoded_{0};

  mutable Mutex mutex_;
  Fields fields_ ZUL_GUARDED_BY(mutex_);  // but for what the filter holds
  ClockFilter filter_ ZUL_GUARDED_BY(mutex_);
  Delegate delegate_ ZUL_GUARDED_BY(mutex_);
  bool enabled_ ZUL_GUARDED_BY(mutex_) = false;
  std::uint64_t run_ ZUL_GUARDED_BY(mutex_) = 0;  // each start and stop is another one; what belongs to an old one ends
  bool polling_ ZUL_GUARDED_BY(mutex_) = false;
  Polling current_ ZUL_GUARDED_BY(mutex_);
};

}  // namespace zul
