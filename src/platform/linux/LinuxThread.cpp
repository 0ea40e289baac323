#include "LinuxThread.h"

#include <pthread.h>
#include <sched.h>
#include <signal.h>

#include <thread>
#include <utility>

namespace zul::platform {

namespace {

/// Blocks the signals that the host expects on its own threads, for as long as it lives. A thread inherits the
/// mask. Those that a fault raises stay open: blocked, they would kill the process past the host's crash handler.
class SignalsBlocked {
 public:
  SignalsBlocked() {
    sigset_t all;
    sigfillset(&all);
    for (const int fault : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT, SIGTRAP, SIGSYS}) sigdelset(&all, fault);
    pthread_sigmask(SIG_BLOCK, &all, &before_);
  }
  ~SignalsBlocked() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
  SignalsBlocked(const SignalsBlocked&) = delete;
  SignalsBlocked& operator=(const SignalsBlocked&) = delete;

 private:
  sigset_t before_;
};

/// Threads of this policy have their share of the processor, but do not preempt others at their wake-up. The host's
/// thread, whose event wakes a worker, would otherwise be pushed off its processor in the middle of its call. Where the
/// system refuses, the thread stays as it is.
void yieldToHost() {
  const sched_param none{};
  pthread_setschedparam(pthread_self(), SCHED_BATCH, &none);
}

}  // namespace

void startThread(const char* name, std::function<void()> body) {
  const SignalsBlocked blocked;
  std::thread([name, body = std::move(body)] {
    pthread_setname_np(pthread_self(), name);
    yieldToHost();
    body();
  }).detach();
}

}  // namespace zul::platform
