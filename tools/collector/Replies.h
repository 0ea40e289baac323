#pragma once

#include <string>
#include <string_view>

namespace zul::collector {

inline constexpr std::string_view kAcceptedReply = R"({"code":"RES001","msg":"OK"})";

/// The body that tells why a request is refused.
std::string refusal(std::string_view reason);

}  // namespace zul::collector
