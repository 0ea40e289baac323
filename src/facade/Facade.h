#pragma once

#include <functional>
#include <memory>
#include <optional>

#include "zul/Application.h"
#include "zul/Dictionary.h"

namespace zul {

class Runtime;
class WebViewConfiguration;

/// The two things that the facade decides itself, on any Runtime: ZULSession runs them on the process's.
namespace facade {

struct Entry {
  const std::optional<Dictionary>& launchOptions;
  const Application& application;
  const std::function<void()>& callback;
};

/// An initialization entry: starts the library unless the application is in the background, then hands the
/// callback over whatever happened.
void initialize(Runtime& runtime, const Entry& entry);

/// The same for the entries with a web view configuration, which is stored first.
void initializeWithWebView(Runtime& runtime, const Entry& entry, std::shared_ptr<WebViewConfiguration> configuration);

/// Calls `callback` once on the main queue, with the attribution or, after the last retry, without. The retries sleep
/// there, too, unless the platform has the library wait in the background.
void getAttributedInfo(Runtime& runtime, std::function<void(const Dictionary&)> callback);

}  // namespace facade
}  // namespace zul
