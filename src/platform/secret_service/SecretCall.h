#pragma once

#include <libsecret/secret.h>

#include <chrono>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>

#include "Mutex.h"

namespace zul::platform {

struct Unref {
  void operator()(GMainContext* context) const { g_main_context_unref(context); }
  void operator()(gpointer object) const { g_object_unref(object); }
};
template <typename Object>
using Ref = std::unique_ptr<Object, Unref>;

/// What the service, or the bus, answered instead of doing what it was asked.
struct SecretFailure : std::runtime_error {
  using runtime_error::runtime_error;
};

/// One call of the keychain: the service on the session bus, from which what is asked is awaited
/// until a deadline. One thread. Every operation throws SecretFailure.
class SecretCall {
 public:
  using Clock = std::chrono::steady_clock;

  explicit SecretCall(std::chrono::milliseconds patience);
  ~SecretCall();
  SecretCall(const SecretCall&) = delete;
  SecretCall& operator=(const SecretCall&) = delete;

  /// Connects, and finds the service.
  SecretService* open();

  /// Calls `start(cancellable, callback, data)`, which begins an asynchronous operation, and waits for its result. What
  /// does not come in time is cancelled, and shortly after that left to itself, since not every operation heeds it.
  template <typename Start>
  Ref<GAsyncResult> await(Start start) {
    auto* const slot = new Slot;
    start(cancellable_.get(), &SecretCall::note, slot);
    return wait(slot);
  }

  /// Throws what `error` says, if there is one, and frees it.
  static void check(GError* error);

  bool isLate() const { return g_cancellable_is_cancelled(cancellable_.get()) != FALSE; }

 private:
  struct Slot {
    Ref<GAsyncResult> result;
    bool isAbandoned = false;  // then it is the callback's
  };

  Ref<GDBusConnection> connect();
  static void note(GObject*, GAsyncResult* result, gpointer slot);
  static gboolean expire(gpointer self);
  Ref<GAsyncResult> wait(Slot* slot);

  const Ref<GMainContext> context_{g_main_context_new()};
  /// GLib's shared connection to the bus ends the process when it is closed, unless told otherwise; and that can only
  /// be told to an open one, which may be closed again by then. It does so in the context in which it was asked for
  /// first: this one, in which nothing happens before it is told.
  const Ref<GMainContext> connecting_{g_main_context_new()};
  bool isOpening_ = false;
  const Ref<GCancellable> cancellable_;
  GSource* const timer_;
  bool hasGivenUp_ = false;
  Ref<SecretService> service_;
};

}  // namespace zul::platform
