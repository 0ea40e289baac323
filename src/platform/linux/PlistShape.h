#pragma once

#include <string_view>

namespace zul::platform {

/// What the property-list parser must not be given, for it follows nesting by recursion and copies an object for
/// each reference to it: true when the text is nested at most a hundred levels deep, and stands for no more than a
/// few times the largest file read. True says nothing of the text being well-formed otherwise.
bool isHonestXmlPlist(std::string_view text);
bool isHonestBinaryPlist(std::string_view text);

}  // namespace zul::platform
