#include "SecretCall.h"

#include <unistd.h>

#include <cstdlib>

namespace zul::platform {

namespace {

constexpr auto kNoAnswer = "the service does not answer";
constexpr std::chrono::milliseconds kGrace{200};

/// GLib's own search for the bus would start one where there is none.
bool hasSessionBus() {
  const char* const address = std::getenv("DBUS_SESSION_BUS_ADDRESS");
  if (address != nullptr && *address != '\0') return true;
  const char* const folder = std::getenv("XDG_RUNTIME_DIR");
  return folder != nullptr && ::access((std::string(folder) + "/bus").c_str(), F_OK) == 0;
}

void drain(GMainContext* context) {
  while (g_main_context_iteration(context, FALSE) != FALSE) {
  }
}

}  // namespace

SecretCall::SecretCall(std::chrono::milliseconds patience)
    : cancellable_(g_cancellable_new()), timer_(g_timeout_source_new(static_cast<guint>(patience.count()))) {
  g_main_context_push_thread_default(context_.get());
  g_source_set_callback(timer_, &SecretCall::expire, this, nullptr);
  g_source_attach(timer_, context_.get());
}

SecretCall::~SecretCall() {
  g_cancellable_cancel(cancellable_.get());
  service_ = nullptr;
  g_source_destroy(timer_);
  g_source_unref(timer_);
  drain(context_.get());  // what was cancelled goes away in callbacks
  if (!isOpening_) drain(connecting_.get());
  g_main_context_pop_thread_default(context_.get());
}

SecretService* SecretCall::open() {
  if (!hasSessionBus()) throw SecretFailure("there is no session bus");
  const auto connection = connect();
  const auto found = await([&](GCancellable* cancellable, GAsyncReadyCallback callback, gpointer data) {
    secret_service_open(SECRET_TYPE_SERVICE, nullptr, SECRET_SERVICE_NONE, cancellable, callback, data);
  });
  GError* error = nullptr;
  service_.reset(secret_service_open_finish(found.get(), &error));
  check(error);
  return service_.get();
}

Ref<GDBusConnection> SecretCall::connect() {
  const auto end = [](GObject*, GAsyncResult*, gpointer isOpening) { *static_cast<bool*>(isOpening) = false; };
  isOpening_ = true;
  g_main_context_push_thread_default(connecting_.get());
  g_bus_get(G_BUS_TYPE_SESSION, cancellable_.get(), end, &isOpening_);
  g_main_context_pop_thread_default(connecting_.get());
  const auto connected = await([&](GCancellable* cancellable, GAsyncReadyCallback callback, gpointer data) {
    g_bus_get(G_BUS_TYPE_SESSION, cancellable, callback, data);
  });
  GError* error = nullptr;
  Ref<GDBusConnection> connection(g_bus_get_finish(connected.get(), &error));
  if (connection) g_dbus_connection_set_exit_on_close(connection.get(), FALSE);
  while (isOpening_) g_main_context_iteration(connecting_.get(), TRUE);
  check(error);
  return connection;
}

void SecretCall::note(GObject*, GAsyncResult* result, gpointer slot) {
  auto* const own = static_cast<Slot*>(slot);
  own->result.reset(G_ASYNC_RESULT(g_object_ref(result)));
  if (own->isAbandoned) delete own;
}

gboolean SecretCall::expire(gpointer self) {
  auto* const call = static_cast<SecretCall*>(self);
  if (call->isLate()) {
    call->hasGivenUp_ = true;
    return G_SOURCE_REMOVE;
  }
  g_cancellable_cancel(call->cancellable_.get());
  g_source_set_ready_time(call->timer_, g_get_monotonic_time() + std::chrono::microseconds(kGrace).count());
  return G_SOURCE_CONTINUE;
}

void SecretCall::check(GError* error) {
  if (error == nullptr) return;
  g_dbus_error_strip_remote_error(error);
  const bool isLate = g_error_matches(error, G_IO_ERROR, G_IO_ERROR_CANCELLED) != FALSE;
  const std::string message = isLate ? kNoAnswer : error->message;
  g_error_free(error);
  throw SecretFailure(message);
}

Ref<GAsyncResult> SecretCall::wait(Slot* slot) {
  while (!slot->result && !hasGivenUp_) g_main_context_iteration(context_.get(), TRUE);
  if (!slot->result) {
    slot->isAbandoned = true;
    throw SecretFailure(kNoAnswer);
  }
  const std::unique_ptr<Slot> owner(slot);
  return std::move(owner->result);
}

}  // namespace zul::platform
