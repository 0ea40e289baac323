#include <gtest/gtest.h>

#include "Runtime.h"
#include "SessionRecord.h"
#include "SimulatedPhone.h"
#include "Tracker.h"
#include "zul/platform/Clock.h"

namespace zul {
namespace {

// What consent decides about is not even asked for without it, from the first launch over events to the next session.
TEST(Consent, WithoutItTheDeviceIsNotAsked) {
  for (const std::int64_t status : {-1, 0, 1, 2, 3}) {
    test::SimulatedPhone phone;
    phone.store("ATTAuthStatusInfo", R"({"ATTAuthStatus":"3"})");  // of another kind
    phone.boot();
    if (status >= 0) phone.tracker().setATTAuthorizationStatus(status);
    phone.initialize();
    phone.sim.dispatcher->advance(6);
    phone.event("a");
    phone.sim.dispatcher->advance(4000);
    phone.event("b");
    phone.tracker().sessionController().updateSesssionAboutEnvironment();
    phone.sim.dispatcher->advance(1);
    EXPECT_EQ(phone.sim.device->placeReads > 0, status == 3) << status;
    EXPECT_EQ(phone.sim.bundle->listsRead > 0, status == 3) << status;
  }
}

// The answer comes while the stored state cannot be read: it is kept, and counts as soon as that can.
TEST(Consent, AnAnswerWaitsForTheStore) {
  test::SimulatedPhone phone;
  phone.store("Identify", R"({"uuid":"U"})");
  phone.sim.store->setUnreadable(true);
  phone.boot();
  phone.initialize();
  phone.tracker().setIDFA("A");
  phone.tracker().denyATT();
  phone.sim.store->setUnreadable(false);
  EXPECT_TRUE(phone.sim.keychain->items().empty());
  phone.sim.dispatcher->advance(7);
  EXPECT_TRUE(phone.tracker().getZULInitFlag());
  EXPECT_EQ(phone.document("ATTAuthStatusInfo").at("ATTAuthStatus"), 3);
  EXPECT_EQ(phone.document("Identify").at("uuid"), "U");
  EXPECT_EQ(phone.sim.keychain->items().count("IDFA"), 1U);
}

// Consent is withdrawn while another thread reads the device, for a record that it makes or for one that it refreshes.
TEST(Consent, WithdrawnMeanwhileItIsWithdrawn) {
  for (const bool making : {true, false}) {
    test::SimulatedPhone phone;
    phone.startUp();
    phone.tracker().setATTAuthorizationStatus(3);
    auto& record = phone.process().record();
    EXPECT_EQ(record.sharedInstance()->lng, "KO");
    if (making) record.clearInstance();
    phone.sim.device->onPlaceRead = [&] {
      phone.sim.device->onPlaceRead = nullptr;
      phone.tracker().setATTAuthorizationStatus(2);
    };
    if (!making) record.refreshEnvironment();
    EXPECT_EQ(record.sharedInstance()->lng, "ANP") << making;
    EXPECT_EQ(record.sharedInstance()->inch, 0);
  }
}

// A change of the identifier is told although another thread ends first with a record that has not seen it.
TEST(Consent, AChangeIsToldWhoeverMakesTheRecord) {
  test::SimulatedPhone phone;
  phone.sim.keychain->put("IDFA", {{std::string(platform::Keychain::kSecAttrAccount), "A"}});
  phone.sim.device->values.identifier = "B";
  phone.boot();
  auto& record = phone.process().record();
  int reads = 0;
  phone.sim.device->onSystemRead = [&] {
    if (++reads == 2) record.sharedInstance();  // the identifiers have been compared
  };
  EXPECT_EQ(record.sharedInstance()->aidChange, "Y");
}

// Whatever call of the keychain fails, the change is seen again, or was made.
TEST(Consent, AKeychainThatFailsOnceLosesNoChange) {
  for (int call = 1; call <= 12; ++call) {
    test::SimulatedPhone phone;
    phone.sim.keychain->put("IDFA", {{std::string(platform::Keychain::kSecAttrAccount), "A"}});
    phone.sim.keychain->put("UUID", {{std::string(platform::Keychain::kSecAttrAccount), "old"}});
    phone.sim.device->values.identifier = "B";
    phone.sim.keychain->failCall(call);
    for (int start = 0; start < 2; ++start) {
      phone.startUp();
      phone.process().record().sharedInstance();
    }
    const auto items = phone.sim.keychain->items();
    EXPECT_EQ(items.at("IDFA").find(platform::Keychain::kSecAttrAccount)->second, "B") << call;
    EXPECT_NE(items.at("UUID").find(platform::Keychain::kSecAttrAccount)->second, "old") << call;
  }
}

TEST(Consent, AnotherIdentifierInTheFirstAnswerMakesThisANewDevice) {
  test::SimulatedPhone phone;
  phone.sim.keychain->put("IDFA", {{std::string(platform::Keychain::kSecAttrAccount), "A"}});
  phone.sim.keychain->put("UUID", {{std::string(platform::Keychain::kSecAttrAccount), "old"}});
  phone.startUp();
  phone.tracker().setIDFA("B");
  const auto account = [&](const char* item) {
    return phone.sim.keychain->items().at(item).find(platform::Keychain::kSecAttrAccount)->second;
  };
  EXPECT_EQ(account("IDFA"), "B");
  EXPECT_NE(account("UUID"), "old");
  EXPECT_EQ(phone.document("Identify").at("tempSavedIDFA"), "A");
  const auto record = phone.process().record().sharedInstance();
  EXPECT_EQ(record->advtId, "B");
  EXPECT_EQ(record->keychainUUID, "old") << "the new one is told from the next start on";
  phone.startUp();
  EXPECT_EQ(phone.process().record().sharedInstance()->keychainUUID, account("UUID"));
}

}  // namespace
}  // namespace zul
