#pragma once

#include "zul/Dictionary.h"

namespace zul {

class LocalDB;

/// What the collector has attributed the install and the opening to. Any thread may call it.
class AttributionResult {
 public:
  explicit AttributionResult(LocalDB& db) : db_(db) {}

  /// The stored result; empty when there is none.
  Dictionary getAttributedInfo() const;

 private:
  LocalDB& db_;
};

}  // namespace zul
