#include <gtest/gtest.h>

#include "KeychainWrapper.h"
#include "SimulatedKeychain.h"

namespace zul {
namespace {

using platform::Keychain;

constexpr auto kAccount = Keychain::kSecAttrAccount;

class KeychainWrapperTest : public testing::Test {
 protected:
  KeychainWrapper::Text stored(const std::string& identifier) {
    const auto items = keychain.items();
    const auto item = items.find(identifier);
    return item == items.end() ? std::nullopt : KeychainWrapper::Text(item->second.find(kAccount)->second);
  }
  platform::SimulatedKeychain keychain;
};

TEST_F(KeychainWrapperTest, AnItemIsMadeByItsFirstValueAndFoundAgain) {
  KeychainWrapper first(keychain, "UUID");
  EXPECT_FALSE(first.exists());
  EXPECT_EQ(first.objectForKey(kAccount), "");
  first.setObject(std::nullopt, kAccount);
  first.setObject("", kAccount);
  EXPECT_EQ(keychain.writes(), 0);
  first.setObject("A", kAccount);
  first.setObject("A", kAccount);
  EXPECT_EQ(keychain.writes(), 1);
  first.setObject("bytes", Keychain::kSecValueData);

  KeychainWrapper second(keychain, "UUID");
  EXPECT_TRUE(second.exists());
  EXPECT_EQ(second.objectForKey(kAccount), "A");
  EXPECT_EQ(second.objectForKey(Keychain::kSecValueData), "bytes");
  EXPECT_EQ(second.objectForKey(Keychain::kSecReturnData), std::nullopt);
  second.setObject("B", kAccount);
  EXPECT_EQ(stored("UUID"), "B");
  EXPECT_EQ(KeychainWrapper(keychain, "IDFA").objectForKey(kAccount), "");
  EXPECT_EQ(KeychainWrapper(keychain, "UUID", "group").objectForKey(kAccount), "");

  second.resetKeychainItem();
  EXPECT_EQ(stored("UUID"), std::nullopt);
  EXPECT_EQ(second.objectForKey(kAccount), "");
}

// Another process has made the item since this one looked.
TEST_F(KeychainWrapperTest, TwoThatMakeTheSameItemEndUpWithOne) {
  KeychainWrapper one(keychain, "UUID");
  KeychainWrapper other(keychain, "UUID");
  one.setObject("A", kAccount);
  other.setObject("B", kAccount);
  EXPECT_EQ(stored("UUID"), "B");
  EXPECT_EQ(keychain.items().size(), 1U);
}

TEST_F(KeychainWrapperTest, WhatCannotBeReadIsNotReplaced) {
  KeychainWrapper(keychain, "UUID").setObject("A", kAccount);
  keychain.setLocked(true);
  KeychainWrapper item(keychain, "UUID");
  EXPECT_FALSE(item.isReadable());
  keychain.setLocked(false);
  item.setObject("B", kAccount);
  item.resetKeychainItem();
  EXPECT_EQ(stored("UUID"), "A");

  // Locked only when it comes to writing.
  KeychainWrapper later(keychain, "UUID");
  keychain.setLocked(true);
  later.setObject("B", kAccount);
  keychain.setLocked(false);
  EXPECT_EQ(stored("UUID"), "A");
}

}  // namespace
}  // namespace zul
