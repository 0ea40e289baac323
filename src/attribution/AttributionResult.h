#pragma once

#include <boost/json/fwd.hpp>
#include <string>
#include <string_view>

#include "Log.h"
#include "zul/Dictionary.h"

namespace zul {

class DeferredLinkManager;
class LocalDB;

/// What the collector has attributed the install and the opening to. Any thread may call it.
class AttributionResult {
 public:
  AttributionResult(LocalDB& db, DeferredLinkManager& deferredLinks, Log log)
      : db_(db), deferredLinks_(deferredLinks), log_(std::move(log)) {}

  /// The stored result; empty when there is none.
  Dictionary getAttributedInfo() const;

  /// Stores what an answer to an upload says, in the place of the result before, and keeps the deferred deep link in it
  /// for the host.
  void saveAttributedInfo(const boost::json::object& answer);

  /// Tells the log of a first visit what the install was reported as. `payloads` is the text of the uploaded array.
  void selfValidation(std::string_view payloads) const;

 private:
  LocalDB& db_;
  DeferredLinkManager& deferredLinks_;
  const Log log_;
};

}  // namespace zul
