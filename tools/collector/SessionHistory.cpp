#include "SessionHistory.h"

#include <fmt/format.h>

#include <algorithm>

namespace zul::collector {

std::string equalTo(std::uint64_t request) {
  return fmt::format("the payload is equal to one of request {}", request);
}

void SessionHistory::compare(std::uint64_t sequence, std::vector<PayloadFacts>& payloads, bool accepted,
                             Suspicions& suspicions) {
  const MutexLock lock(mutex_);
  for (std::size_t number = 0; number < payloads.size(); ++number) {
    auto& payload = payloads[number];
    compareOne(number, payload, suspicions);
    if (!accepted) continue;
    requestOf_.set(payload.hash, sequence);
    if (payload.uuid.empty()) continue;
    if (!payload.vendorId.empty()) uuidOf_.set(payload.vendorId, payload.uuid);
    const auto* latest = latestVisitOf_.find(payload.uuid);
    latestVisitOf_.set(payload.uuid, std::max(latest ? *latest : 0, payload.vtTz));
  }
}

void SessionHistory::compareOne(std::size_t number, PayloadFacts& payload, Suspicions& suspicions) {
  if (const auto* request = requestOf_.find(payload.hash)) {
    payload.equalTo = *request;
    suspicions.add(number, "SESSION", equalTo(*request));
    return;
  }
  if (payload.uuid.empty()) return;
  const auto* uuid = payload.vendorId.empty() ? nullptr : uuidOf_.find(payload.vendorId);
  if (uuid && *uuid != payload.uuid) {
    suspicions.add(number, "vendorId", fmt::format("is the one of another uuid, {}, as well", *uuid));
  }
  const auto* latest = latestVisitOf_.find(payload.uuid);
  if (latest && payload.vtTz != 0 && payload.vtTz < *latest) {
    suspicions.add(number, "vtTz", fmt::format("goes back, from {} to {}", *latest, payload.vtTz));
  }
}

void SessionHistory::reset() {
  const MutexLock lock(mutex_);
  requestOf_ = {};
  uuidOf_ = {};
  latestVisitOf_ = {};
}

}  // namespace zul::collector
