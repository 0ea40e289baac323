#pragma once

#include <string>

namespace zul::collector {

/// The JSON Schema (draft 2020-12) of a decoded upload, indented: what is judged of the keys and kinds of its payloads,
/// for programs.
std::string uploadSchema();

}  // namespace zul::collector
