#include "LinuxUserDefaults.h"

#include <boost/json/object.hpp>
#include <cmath>

#include "Json.h"
#include "LinuxFiles.h"

namespace zul::platform {

namespace {

constexpr std::size_t kMaxFile = 1 << 20;

}  // namespace

std::optional<double> LinuxUserDefaults::number(const std::string& key) {
  const MutexLock lock(mutex_);
  load();
  const auto place = values_.find(key);
  if (place == values_.end()) return std::nullopt;
  return place->second;
}

void LinuxUserDefaults::setNumber(const std::string& key, double value) {
  const MutexLock lock(mutex_);
  load();
  if (std::isfinite(value)) {
    values_[key] = value;
  } else {
    values_.erase(key);
  }
  boost::json::object object;
  for (const auto& [name, number] : values_) object[name] = number;
  replaceFile(file_, json::text(object));
}

void LinuxUserDefaults::load() {
  if (loaded_) return;
  loaded_ = true;
  const auto text = readFile(file_, kMaxFile);
  const auto object = text ? json::parseObject(*text) : std::nullopt;
  if (!object) return;
  for (const auto& member : *object) {
    if (const auto number = json::number(*object, member.key())) values_[member.key()] = *number;
  }
}

}  // namespace zul::platform
