#pragma once

#include <boost/json/fwd.hpp>
#include <memory>
#include <string>

#include "Log.h"

namespace zul {

class SessionController;
namespace platform {
class Device;
class SKAdNetwork;
}  // namespace platform

/// Reports to the platform's ad network what the collector's answers say: it decides on the conversion value. Any
/// thread may call it; it calls the platform on the caller's.
class SKANManager {
 public:
  SKANManager(std::shared_ptr<platform::SKAdNetwork> network, std::shared_ptr<platform::Device> device, Log log)
      : network_(std::move(network)), device_(std::move(device)), log_(std::move(log)) {}

  /// Does what an answer to an upload says; a value that is reported is stored first, and travels with later payloads.
  void updatePostbackConversionValue(const boost::json::object& answer, SessionController& sessionController) const;

 private:
  const std::shared_ptr<platform::SKAdNetwork> network_;
  const std::shared_ptr<platform::Device> device_;
  const Log log_;
};

}  // namespace zul
