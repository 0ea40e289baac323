#include "Events.h"

#include "Json.h"
#include "Tracker.h"
#include "zul/Dictionary.h"

namespace zul::test {

namespace {

template <typename Name>
void report(Tracker& tracker, const Name& name) {
  Dictionary pairs;
  pairs.set("event", name);
  tracker.setTempPairingData(pairs);
  tracker.sendTransactionByPage();
}

}  // namespace

void reportEvent(Tracker& tracker, const std::string& name) {
  report(tracker, name);
}

void reportEvent(Tracker& tracker, int number) {
  report(tracker, number);
}

std::string eventNames(const boost::json::array& payloads, const std::string& nameless) {
  std::string names;
  for (const auto& payload : payloads) {
    names += json::string(payload.at("SESSION").as_object(), "event").value_or(nameless);
  }
  return names;
}

}  // namespace zul::test
