#include "AttributionResult.h"

#include "Json.h"
#include "Keys.h"
#include "LocalDB.h"

namespace zul {

Dictionary AttributionResult::getAttributedInfo() const {
  const auto document = db_.documentWithID(keys::attribution::kDocument);
  const auto& stored = document.valueForKey(keys::attribution::kAttributionInfo);
  return stored.is_object() ? DictionaryAccess::wrap(stored.get_object()) : Dictionary();
}

}  // namespace zul
