#pragma once

#include <memory>

#include "zul/Export.h"

using WebKitWebView = struct _WebKitWebView;
using WebKitWebContext = struct _WebKitWebContext;

namespace zul {

namespace platform {
class Dispatcher;
class WebView;
class WebViews;
}  // namespace platform

/// Real web views: a library beside this one, zul-webkit, over WebKitGTK 4.1. A host that wants them sets
/// `Platform::webViews`, with the `Platform::dispatcher` that the library runs on. They keep the cookies of `context`,
/// which may be the one of the host's own web views; null: the default one.
///
/// WebKit lives on the thread that runs GTK's main loop, over the default main context, and is called nowhere else.
/// That has to be the thread of main(), or WebKit ends the process with a fault at exit. The library's main queue may
/// be a thread of its own, or that same loop:
///
///     options.mainLoop = [](std::function<void()> task) {
///       using Task = std::function<void()>;
///       g_idle_add_once([](gpointer task) { std::unique_ptr<Task>(static_cast<Task*>(task))->operator()(); },
///                       new Task(std::move(task)));
///     };
///
/// Nothing here waits for GTK: as long as its loop does not run, nothing happens. Where there is no display, loads
/// fail. Any thread may call these functions.
///
/// A page gets 60 seconds unless the request says otherwise, and is read as UTF-8. A redirect to another origin
/// succeeds where that origin allows it. The authorities are those that the system trusts: `HttpRequest::caFile` is not
/// regarded, nor is the host's WebViewConfiguration. customUserAgent() is none: what a host sets in WebKitSettings is
/// what "navigator.userAgent" gives.
ZUL_EXPORT std::shared_ptr<platform::WebViews> webKitWebViews(std::shared_ptr<platform::Dispatcher> dispatcher,
                                                              WebKitWebContext* context = nullptr);

/// A web view of the host's, for CustomWKWebViewConfiguration::setClientUserAgentString. It is not kept: once the host
/// has destroyed it, scripts and loads fail.
ZUL_EXPORT std::shared_ptr<platform::WebView> webKitWebView(std::shared_ptr<platform::Dispatcher> dispatcher,
                                                            WebKitWebView* webView);

}  // namespace zul
