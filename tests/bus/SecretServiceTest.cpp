#include <gmock/gmock.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <string>
#include <thread>
#include <vector>

#include "Patience.h"
#include "PrivateBus.h"
#include "TemporaryFolder.h"
#include "zul/SecretService.h"
#include "zul/platform/Keychain.h"

namespace zul::platform {
namespace {

using Dictionary = Keychain::Dictionary;
using Status = Keychain::Status;
using testing::HasSubstr;

Dictionary attributes(const std::vector<std::pair<std::string_view, std::string>>& values) {
  return {values.begin(), values.end()};
}

Dictionary uuid(const std::string& account) {
  return attributes({{Keychain::kSecAttrGeneric, "UUID"}, {Keychain::kSecAttrAccount, account}});
}

const Dictionary kUuid = attributes({{Keychain::kSecAttrGeneric, "UUID"}, {Keychain::kSecReturnAttributes, "1"}});

class SecretServiceTest : public testing::Test {
 protected:
  void SetUp() override {
    if (!bus.missing().empty()) GTEST_SKIP() << bus.missing();
    if (access("/usr/bin/gnome-keyring-daemon", X_OK) != 0) GTEST_SKIP() << "missing: gnome-keyring-daemon";
    ASSERT_THAT(bus.address(), testing::StartsWith("unix:"));
    bus.run("keyring");
  }
  static std::string account(Keychain& keychain) {
    const auto found = keychain.SecItemCopyMatching(kUuid);
    if (found.status == Status::failed) return "failed: " + keychain.lastError();
    const auto text = found.item.find(Keychain::kSecAttrAccount);
    return text == found.item.end() ? "none" : text->second;
  }

  test::PrivateBus bus;
  const std::shared_ptr<Keychain> keychain = secretServiceKeychain("com.example.shop");
};

TEST_F(SecretServiceTest, KeepsItemsOfTheApplication) {
  EXPECT_EQ(account(*keychain), "none");
  EXPECT_EQ(keychain->SecItemUpdate(kUuid, uuid("A")), Status::notFound);
  EXPECT_EQ(keychain->SecItemDelete(kUuid), Status::notFound);

  const std::string bytes("\0\xFF 1\nacct 9\n", 13);
  Dictionary whole = uuid("A");
  whole.emplace(Keychain::kSecAttrLabel, "");
  whole.emplace(Keychain::kSecValueData, bytes);
  ASSERT_EQ(keychain->SecItemAdd(whole), Status::ok) << keychain->lastError();
  EXPECT_EQ(keychain->SecItemAdd(uuid("B")), Status::duplicate);
  Dictionary shared = uuid("S");
  shared.emplace(Keychain::kSecAttrAccessGroup, "group");
  EXPECT_EQ(keychain->SecItemAdd(shared), Status::ok);
  EXPECT_EQ(secretServiceKeychain("com.example.news")->SecItemCopyMatching(kUuid).status, Status::notFound);

  Dictionary query = kUuid;
  query.emplace(Keychain::kSecAttrAccessGroup, "");
  query.emplace(Keychain::kSecReturnData, "1");
  EXPECT_EQ(keychain->SecItemCopyMatching(query).item, whole);
  EXPECT_EQ(keychain->SecItemUpdate(query, attributes({{Keychain::kSecAttrAccount, "C"}})), Status::ok);
  whole[std::string(Keychain::kSecAttrAccount)] = "C";
  EXPECT_EQ(keychain->SecItemCopyMatching(query).item, whole);
  query[std::string(Keychain::kSecAttrAccessGroup)] = "group";
  EXPECT_EQ(keychain->SecItemCopyMatching(query).item, shared);
  EXPECT_EQ(keychain->SecItemDelete(query), Status::ok);
  EXPECT_EQ(account(*keychain), "C");
  EXPECT_EQ(keychain->lastError(), "");

  EXPECT_EQ(keychain->SecItemAdd(attributes({{Keychain::kSecAttrGeneric, "\xFF"}})), Status::failed);
  bus.run("keyring");
  EXPECT_EQ(account(*keychain), "C") << "after a new start of the service";
  EXPECT_EQ(keychain->SecItemDelete(kUuid), Status::ok);
  EXPECT_EQ(account(*keychain), "none");
}

TEST_F(SecretServiceTest, LockedOrMissingIsAFailureAndLosesNothing) {
  ASSERT_EQ(keychain->SecItemAdd(uuid("A")), Status::ok) << keychain->lastError();
  bus.run("lock");
  EXPECT_EQ(account(*keychain), "failed: SecItemCopyMatching: Secret Service: the item is locked");
  EXPECT_EQ(keychain->SecItemCopyMatching(attributes({{Keychain::kSecAttrGeneric, "IDFA"}})).status, Status::failed);
  EXPECT_THAT(keychain->lastError(), HasSubstr("the default collection is locked"));
  EXPECT_EQ(keychain->SecItemAdd(attributes({{Keychain::kSecAttrGeneric, "IDFA"}})), Status::failed);
  EXPECT_EQ(keychain->SecItemUpdate(kUuid, uuid("B")), Status::failed);
  EXPECT_EQ(keychain->SecItemDelete(kUuid), Status::failed);
  bus.run("stop|keyring");
  EXPECT_THAT(account(*keychain), HasSubstr("failed: SecItemCopyMatching: Secret Service: "));
  bus.run("keyring");
  EXPECT_EQ(account(*keychain), "A");
}

// GLib by itself would wait for half a minute.
TEST_F(SecretServiceTest, NobodyWaitsForAServiceThatDoesNotAnswer) {
  ASSERT_EQ(keychain->SecItemAdd(uuid("A")), Status::ok) << keychain->lastError();
  bus.run("freeze|keyring");
  for (int i = 0; i < 3; ++i) {
    EXPECT_THAT(account(*secretServiceKeychain("com.example.shop")), HasSubstr("does not answer"));
  }
  EXPECT_THAT(account(*keychain), HasSubstr("does not answer"));
  bus.run("keyring");
  EXPECT_THAT(account(*keychain), HasSubstr("did not answer lately"));
  EXPECT_EQ(account(*secretServiceKeychain("com.example.shop")), "A");
}

// GLib would end the process together with the bus. Each round ends the bus as soon as the call is on its way, which is
// before or after the connection is open.
TEST_F(SecretServiceTest, TheBusMayGoAway) {
  for (int round = 0; round < 10; ++round) {
    test::PrivateBus another;
    another.run("keyring");
    another.run("end|keyring");
    EXPECT_EQ(keychain->SecItemAdd(uuid("A")), Status::failed);
  }
  EXPECT_EQ(secretServiceKeychain("a")->SecItemAdd(uuid("A")), Status::failed);
}

TEST_F(SecretServiceTest, ThreadsCallAtOnce) {
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&, t] {
      const auto identifier = attributes({{Keychain::kSecAttrGeneric, std::to_string(t)}});
      for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(keychain->SecItemAdd(identifier), Status::ok) << keychain->lastError();
        EXPECT_EQ(keychain->SecItemDelete(identifier), Status::ok) << keychain->lastError();
      }
    });
  }
  for (auto& thread : threads) thread.join();
}

TEST(SecretService, NoBusOrOneThatSaysNothingIsAFailure) {
  const test::TemporaryFolder folder;
  unsetenv("DBUS_SESSION_BUS_ADDRESS");
  setenv("XDG_RUNTIME_DIR", folder.path().c_str(), 1);
  const auto keychain = secretServiceKeychain("com.example.shop");
  EXPECT_EQ(keychain->SecItemAdd(uuid("A")), Status::failed);
  EXPECT_THAT(keychain->lastError(), HasSubstr("there is no session bus"));

  const test::Descriptor listener(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0), "socket");
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  folder.path("bus").copy(address.sun_path, sizeof(address.sun_path) - 1);
  ASSERT_EQ(bind(listener.get(), reinterpret_cast<sockaddr*>(&address), sizeof(address)), 0);
  EXPECT_EQ(keychain->SecItemAdd(uuid("A")), Status::failed) << "nobody listens";
  ASSERT_EQ(listen(listener.get(), 10), 0);
  // GLib repeats the failure until it has let go of the connection that failed.
  EXPECT_TRUE(test::eventually([&] {
    EXPECT_EQ(keychain->SecItemAdd(uuid("A")), Status::failed);
    return keychain->lastError().find("does not answer") != std::string::npos;
  })) << keychain->lastError();
}

}  // namespace
}  // namespace zul::platform
