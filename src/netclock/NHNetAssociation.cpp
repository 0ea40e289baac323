#include "NHNetAssociation.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <utility>

#include "NtpPacket.h"
#include "zul/platform/Clock.h"
#include "zul/platform/UdpSockets.h"

namespace zul {

namespace {

constexpr std::array kPollIntervals = {2,   16,   16,   16,   16,   35,    72,    127,   258,
                                       511, 1024, 2048, 4096, 8192, 16384, 32768, 65536, 131072};  // seconds
constexpr int kIndexOnceStarted = 4;
constexpr int kIndexBeyondStratum = 7;  // less the stratum: servers of stratum 1 are asked less often than those of 2

// Datagrams that may wait to be decoded; whoever sends more is not listened to.
constexpr int kMostUndecoded = 16;

// In [0.75, 1.25), so that not all devices ask at the same moments.
double drawWobble() {
  constexpr double kRange = 2147483648.0;  // of the C library's generator
  return static_cast<double>(::random()) / kRange * 0.5 + 0.75;
}

}  // namespace

NHNetAssociation::NHNetAssociation(std::string server, NetAssociationServices services)
    : server_(std::move(server)), services_(std::move(services)), queue_(services_.tasks.serial()) {}

NHNetAssociation::~NHNetAssociation() = default;

// ---- asking

void NHNetAssociation::enable() {
  {
    const MutexLock lock(mutex_);
    enabled_ = true;
  }
  if (!*services_.inBackground) start();
}

void NHNetAssociation::finish() {
  Polling old;
  const MutexLock lock(mutex_);
  enabled_ = false;
  old = stop();
}

// It looks where the application is rather than taking an event's word, so that events that overtake each other do no
// harm.
void NHNetAssociation::followApplication() {
  Polling old;
  bool resume = false;
  {
    const MutexLock lock(mutex_);
    if (!enabled_) return;
    const bool inBackground = *services_.inBackground;
    if (inBackground && polling_) old = stop();
    resume = !inBackground && !polling_;
  }
  if (resume) start();
}

void NHNetAssociation::significantTimeChange() {
  const MutexLock lock(mutex_);
  filter_.reset();
}

void NHNetAssociation::start() {
  Polling old;
  std::uint64_t run = 0;
  double first = 0;
  {
    const MutexLock lock(mutex_);
    if (!enabled_ || *services_.inBackground) return;
    old = std::exchange(current_, {});
    run = ++run_;
    polling_ = true;
    filter_.reset();
    first = drawInterval();
    fields_.pollingIntervalIndex = kIndexOnceStarted;
  }
  try {
    Polling fresh{.socket = services_.udp->open([weak = weak_from_this(), run](auto datagram, const std::string&) {
                    if (const auto self = weak.lock()) self->received(run, datagram);
                  }),
                  .timer = timer(first, run)};
    const MutexLock lock(mutex_);
    if (run == run_) std::swap(current_, fresh);
  } catch (...) {  // the next event of the application's life cycle makes another attempt
    const MutexLock lock(mutex_);
    if (run == run_) polling_ = false;
    throw;
  }
}

NHNetAssociation::Polling NHNetAssociation::stop() {
  ++run_;
  polling_ = false;
  filter_.reset();
  fields_.active = false;
  return std::exchange(current_, {});
}

double NHNetAssociation::drawInterval() {
  fields_.timerWobbleFactor = drawWobble();
  return kPollIntervals[static_cast<std::size_t>(fields_.pollingIntervalIndex)] * fields_.timerWobbleFactor;
}

std::unique_ptr<platform::Timer> NHNetAssociation::timer(double seconds, std::uint64_t run) {
  return services_.tasks.repeat(
      seconds,
      [weak = weak_from_this(), run] {
        if (const auto self = weak.lock()) self->queryTimeServer(run);
      },
      ZUL_HERE);
}

// The next question first: a failure to send this one then does not end the exchange. Should no timer be had, the one
// that has just fired repeats.
void NHNetAssociation::queryTimeServer(std::uint64_t run) {
  double next = 0;
  {
    const MutexLock lock(mutex_);
    if (run != run_) return;
    next = drawInterval();
  }
  auto fresh = timer(next, run);
  {
    const MutexLock lock(mutex_);
    if (run == run_) current_.timer.swap(fresh);
  }
  sendTimeQuery(run);
}

void NHNetAssociation::sendTimeQuery(std::uint64_t run) {
  std::shared_ptr<platform::UdpSocket> socket;
  NtpTime now;
  if (ntp_time_now(*services_.clock, now) != 0) return;
  {
    const MutexLock lock(mutex_);
    if (run != run_ || !current_.socket) return;
    socket = current_.socket;
    fields_.originate = now;
  }
  socket->send(server_, services_.port, ntp::query(now));
}

// ---- answers

void NHNetAssociation::received(std::uint64_t run, std::span<const std::byte> datagram) {
  const auto answer = ntp::readAnswer(datagram);
  {
    // Looked at here already: what anybody can send must not fill the queue.
    const MutexLock lock(mutex_);
    if (run != run_ || answer.originate != fields_.originate) return;
  }
  if (undecoded_ >= kMostUndecoded) return;
  ++undecoded_;
  queue_.async(
      [weak = weak_from_this(), run, answer] {
        const auto self = weak.lock();
        if (!self) return;
        --self->undecoded_;
        if (self->decodePacket(run, answer)) self->tellDelegate();
      },
      ZUL_HERE);
}

/// False when it is no answer to the last question, and without effect.
bool NHNetAssociation::decodePacket(std::uint64_t run, const ntp::Answer& answer) {
  NtpTime now;
  if (ntp_time_now(*services_.clock, now) != 0) return false;
  const MutexLock lock(mutex_);
  if (run != run_ || answer.originate != fields_.originate) return false;
  fields_.arrived = now;
  fields_.stratum = answer.stratum;
  fields_.dispersion = answer.dispersion;
  fields_.reference = answer.reference;
  fields_.receive = answer.receive;
  fields_.transmit = answer.transmit;
  const auto sample = sampleOf(answer, fields_.originate, now);
  if (std::isfinite(sample.offset)) {
    fields_.roundtrip = sample.roundtrip;
    fields_.active = true;
  }
  filter_.add(sample.offset);
  retunePolling();
  return true;
}

void NHNetAssociation::retunePolling() {
  if (fields_.stratum == 1 || fields_.stratum == 2)
    fields_.pollingIntervalIndex = kIndexBeyondStratum - fields_.stratum;
}

void NHNetAssociation::tellDelegate() {
  services_.tasks.async(
      Tasks::Queue::main,
      [weak = weak_from_this()] {
        const auto self = weak.lock();
        if (!self) return;
        Delegate delegate;
        {
          const MutexLock lock(self->mutex_);
          delegate = self->delegate_;
        }
        if (delegate) delegate(*self);
      },
      ZUL_HERE);
}

void NHNetAssociation::setDelegate(Delegate delegate) {
  const MutexLock lock(mutex_);
  delegate_.swap(delegate);
}

// ---- looking

NHNetAssociation::Fields NHNetAssociation::fields() const {
  const MutexLock lock(mutex_);
  Fields fields = fields_;
  fields.fifo = filter_.fifo();
  fields.fifoIndex = filter_.fifoIndex();
  fields.offset = filter_.offset();
  fields.trusty = filter_.trusty();
  return fields;
}

std::string NHNetAssociation::description() const {
  auto now = fields();
  if (std::isnan(now.offset)) now.offset = std::numeric_limits<double>::quiet_NaN();  // without a sign
  return fmt::format("{} [{}] stratum={}; offset={:3.1f}±{:3.1f}mS", now.trusty ? "↑" : "↓", server_, now.stratum,
                     now.offset, now.dispersion);
}

std::string NHNetAssociation::prettyPrintTimers() const {
  const auto now = fields();
  return fmt::format(
      "prettyPrintTimers\n\ntime server addr: [{}]\n round trip time: {:7.3f} (mS)\n    clock offset: {:7.3f} (mS)\n\n",
      server_, now.roundtrip * 1000, now.offset * 1000);
}

double NHNetAssociation::dateFromNetworkTime(const NtpTime& time) {
  constexpr double kFraction = 1.0 / 4294967296;
  return static_cast<double>(ntp2unix({time.seconds, 0}).seconds) + time.fraction * kFraction;
}

}  // namespace zul
