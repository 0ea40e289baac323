#include <utility>

#include "Observers.h"
#include "zul/platform/NotificationCenter.h"

namespace zul::platform {

struct LocalNotificationCenter::Observers : zul::Observers<std::string> {};

NotificationCenter::~NotificationCenter() = default;

LocalNotificationCenter::LocalNotificationCenter() : observers_(std::make_unique<Observers>()) {}
LocalNotificationCenter::~LocalNotificationCenter() = default;

std::shared_ptr<void> LocalNotificationCenter::observe(const std::string& name, Observer observer) {
  return observers_->add([name, observer = std::move(observer)](const std::string& posted) {
    if (posted == name) observer();
  });
}

void LocalNotificationCenter::post(const std::string& name) {
  observers_->call(name);
}

}  // namespace zul::platform
