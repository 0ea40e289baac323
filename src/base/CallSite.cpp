#include "zul/CallSite.h"

#include "MethodName.h"

namespace zul {

CallSite CallSite::of(const char* function, unsigned line) noexcept {
  return {methodName(function), line};
}

}  // namespace zul
