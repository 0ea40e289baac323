#pragma once

#include <boost/json/object.hpp>
#include <memory>
#include <string>

#include "CountingStore.h"
#include "Runtime.h"

namespace zul::bench {

/// The library's parts on the real platform in a folder, with the seed's documents stored. Log lines go
/// nowhere, and nothing is sent.
class Workbench {
 public:
  explicit Workbench(const std::string& folder);

  Runtime& runtime() { return *runtime_; }
  int commits() const { return store_->commits(); }

  /// The payload of the stored documents.
  boost::json::object payload();

 private:
  std::shared_ptr<test::CountingStore> store_;
  std::unique_ptr<Runtime> runtime_;
};

}  // namespace zul::bench
