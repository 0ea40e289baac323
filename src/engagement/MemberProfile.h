#pragma once

namespace zul {

class LocalDB;
class SessionRecord;
struct User;

/// Who is signed in, as the host tells it: the document "UserInfo" and what the record shows of it. The values pass
/// through unchanged.
///
/// Any thread may call it. What is told before the stored state can be read is kept until then.
class MemberProfile {
 public:
  MemberProfile(LocalDB& db, SessionRecord& record) : db_(db), record_(record) {}

  /// Puts `user` in the place of the stored profile, and has the record show it; a field that is absent is absent
  /// there, too, whatever it was before. Both at once, so that a session which begins just now loses nothing.
  void setUser(const User& user);
  /// Stores the profile that the record shows.
  void saveUserLoginInfo();
  /// Empties the profile: from now on each of its values is "".
  void setUserLogout();

 private:
  LocalDB& db_;
  SessionRecord& record_;
};

}  // namespace zul
