#include "MemberProfile.h"

#include <optional>
#include <string>
#include <string_view>

#include "Fields.h"
#include "Keys.h"
#include "LocalDB.h"
#include "SessionRecord.h"
#include "zul/User.h"

namespace zul {

namespace {

using namespace keys;
using Text = std::optional<std::string>;

struct Value {
  std::string_view key;
  Text User::*given;
};
constexpr Value kProfile[] = {
    {user::kMember, &User::member},
    {user::kGender, &User::gender},
    {user::kAge, &User::age},
    {user::kAttribute[0], &User::attribute1},
    {user::kAttribute[1], &User::attribute2},
    {user::kAttribute[2], &User::attribute3},
    {user::kAttribute[3], &User::attribute4},
    {user::kAttribute[4], &User::attribute5},
    {user::kMemberGrade, &User::memberGrade},
    {user::kMemberId, &User::memberId},
    {user::kIsLogin, &User::isLogin},
    {user::kLoginTp, &User::loginTp},
    {user::kSignupTp, &User::signupTp},
};

}  // namespace

void MemberProfile::setUser(const User& user) {
  db_.whenReadable([this, user] {
    db_.replace(user::kDocument, [&](MutableDocument& document) {
      for (const auto& value : kProfile) document.setString(user.*value.given, value.key);
    });
    record_.showDocument(user::kDocument);
  });
}

void MemberProfile::saveUserLoginInfo() {
  db_.whenReadable([this] {
    const auto record = record_.sharedInstance();
    db_.replace(user::kDocument, [&](MutableDocument& document) {
      for (const auto& field : fields()) {
        if (field.document != user::kDocument) continue;
        document.setString(std::get<InRecord<Text>>(field.member).get(*record), field.key);
      }
    });
  });
}

void MemberProfile::setUserLogout() {
  db_.whenReadable([this] {
    db_.replace(user::kDocument, [](MutableDocument& document) {
      for (const auto& value : kProfile) document.setString("", value.key);
    });
    record_.showDocument(user::kDocument);
  });
}

}  // namespace zul
