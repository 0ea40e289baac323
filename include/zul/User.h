#pragma once

#include <optional>
#include <string>

namespace zul {

/// The signed-in member, for ZULSession::setUser. Absent fields are absent values.
struct User {
  std::optional<std::string> member;  ///< member flag or type, as the host defines it
  std::optional<std::string> gender;
  std::optional<std::string> age;  ///< age or age band
  std::optional<std::string> attribute1, attribute2, attribute3, attribute4, attribute5;
  std::optional<std::string> memberGrade;
  std::optional<std::string> memberId;
  std::optional<std::string> isLogin;  ///< "Y" or "N"
  std::optional<std::string> loginTp;
  std::optional<std::string> signupTp;
};

}  // namespace zul
