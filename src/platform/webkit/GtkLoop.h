#pragma once

#include <glib-object.h>

#include <functional>
#include <memory>

namespace zul::platform {

struct UnrefObject {
  void operator()(gpointer object) const { g_object_unref(object); }
};
template <typename Object>
using Ref = std::unique_ptr<Object, UnrefObject>;

/// Runs `task` later, on the thread of GTK's main loop. Any thread may call it. What it throws ends there.
inline void onGtk(std::function<void()> task) {
  using Task = std::function<void()>;
  const auto run = [](gpointer task) -> gboolean {
    try {
      (*static_cast<Task*>(task))();
    } catch (...) {
    }
    return G_SOURCE_REMOVE;
  };
  // Not g_main_context_invoke: as long as no loop runs it would run the task on this thread.
  g_idle_add_full(G_PRIORITY_DEFAULT, run, new Task(std::move(task)),
                  [](gpointer task) { delete static_cast<Task*>(task); });
}

}  // namespace zul::platform
