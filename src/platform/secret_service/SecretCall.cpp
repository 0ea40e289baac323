#include "SecretCall.h"

#include <unistd.h>

#include <cstdlib>

namespace zul::platform {

namespace {

/// GLib's own search for the bus would start one where there is none.
bool hasSessionBus() {
  const char* const address = std::getenv("DBUS_SESSION_BUS_ADDRESS");
  if (address != nullptr && *address != '\0') return true;
  const char* const folder = std::getenv("XDG_RUNTIME_DIR");
  return folder != nullptr && ::access((std::string(folder) + "/bus").c_str(), F_OK) == 0;
}

}  // namespace

SecretCall::SecretCall(std::chrono::milliseconds patience)
    : context_(g_main_context_new()),
      cancellable_(g_cancellable_new()),
      timer_(g_timeout_source_new(static_cast<guint>(patience.count()))) {
  g_main_context_push_thread_default(context_);
  g_source_set_callback(timer_, &SecretCall::expire, this, nullptr);
  g_source_attach(timer_, context_);
}

SecretCall::~SecretCall() {
  g_cancellable_cancel(cancellable_.get());
  service_ = nullptr;
  g_source_destroy(timer_);
  g_source_unref(timer_);
  while (g_main_context_iteration(context_, FALSE) != FALSE) {  // what was cancelled goes away in callbacks
  }
  g_main_context_pop_thread_default(context_);
  g_main_context_unref(context_);
}

SecretService* SecretCall::open() {
  if (!hasSessionBus()) throw SecretFailure("there is no session bus");
  GError* error = nullptr;
  const auto connected = await([&](GCancellable* cancellable, GAsyncReadyCallback callback, gpointer data) {
    g_bus_get(G_BUS_TYPE_SESSION, cancellable, callback, data);
  });
  const Ref<GDBusConnection> connection(g_bus_get_finish(connected.get(), &error));
  check(error);
  // GLib would end the process together with its shared connection.
  g_dbus_connection_set_exit_on_close(connection.get(), FALSE);

  const auto found = await([&](GCancellable* cancellable, GAsyncReadyCallback callback, gpointer data) {
    secret_service_open(SECRET_TYPE_SERVICE, nullptr, SECRET_SERVICE_NONE, cancellable, callback, data);
  });
  service_.reset(secret_service_open_finish(found.get(), &error));
  check(error);
  return service_.get();
}

void SecretCall::note(GObject*, GAsyncResult* result, gpointer slot) {
  auto* const own = static_cast<Slot*>(slot);
  own->result.reset(G_ASYNC_RESULT(g_object_ref(result)));
  if (own->isAbandoned) delete own;
}

gboolean SecretCall::expire(gpointer self) {
  static_cast<SecretCall*>(self)->late_ = true;
  return G_SOURCE_REMOVE;
}

void SecretCall::check(GError* error) {
  if (error == nullptr) return;
  g_dbus_error_strip_remote_error(error);
  const std::string message = error->message;
  g_error_free(error);
  throw SecretFailure(message);
}

Ref<GAsyncResult> SecretCall::wait(Slot* slot) {
  while (!slot->result && !late_) g_main_context_iteration(context_, TRUE);
  if (!slot->result) {
    slot->isAbandoned = true;
    throw SecretFailure("the service does not answer");
  }
  const std::unique_ptr<Slot> owner(slot);
  return std::move(owner->result);
}

}  // namespace zul::platform
