#pragma once

#include <string_view>

namespace zul::collector {

/// A file of page/, which is part of the program.
struct PageFile {
  std::string_view path;  ///< where it is served
  std::string_view type;
  std::string_view text;
};

/// Null where there is none.
const PageFile* pageFile(std::string_view path);

}  // namespace zul::collector
