#include <gmock/gmock.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <thread>

#include "Descriptor.h"
#include "InterfaceKind.h"
#include "LinuxDevice.h"
#include "PrivateBus.h"
#include "SimCarrier.h"
#include "TemporaryFolder.h"

namespace zul::platform {
namespace {

using namespace std::chrono_literals;
using test::PrivateBus;
using test::TemporaryFolder;

class SystemBusTest : public testing::Test {
 protected:
  void SetUp() override {
    if (!bus.missing().empty()) GTEST_SKIP() << bus.missing();
    ASSERT_THAT(bus.address(), testing::StartsWith("unix:"));
  }
  static std::optional<Carrier> carrier() { return SystemBus(20s).ask(simCarrier); }
  static std::optional<std::string> primary() { return SystemBus(20s).ask(primaryConnection); }

  PrivateBus bus;
};

TEST_F(SystemBusTest, TheSimTellsTheCarrier) {
  EXPECT_FALSE(carrier()) << "no service";
  bus.run("modem|Network");
  EXPECT_FALSE(carrier()) << "no SIM";
  bus.run("modem|Network|Example Mobile|45005");
  EXPECT_EQ(carrier()->name, "Example Mobile");
  bus.run("modem|Network||45005");
  EXPECT_EQ(carrier()->name, "Network") << "a SIM without a name";
  for (const char* liar : {"modem|Network|long|45005", "modem|Network||lie"}) {
    bus.run(liar);
    EXPECT_EQ(carrier()->name, "Network") << liar;
  }
  bus.run("stop|modem");
  EXPECT_FALSE(carrier());
}

TEST_F(SystemBusTest, OfATunnelNetworkManagerKnowsWhatLiesBelow) {
  const TemporaryFolder root;
  const auto add = [&](const std::string& interface, const std::string& type, const std::string& event) {
    std::filesystem::create_directories(root.path("sys/class/net/" + interface));
    root.write("sys/class/net/" + interface + "/type", type + "\n");
    root.write("sys/class/net/" + interface + "/uevent", event + "INTERFACE=" + interface + "\nIFINDEX=2\n");
  };
  add("wlp2s0", "1", "DEVTYPE=wlan\n");
  add("enp3s0", "1", "");
  add("wwp0s20u4", "1", "DEVTYPE=wwan\n");
  add("tun0", "65534", "");
  add("ppp0", "512", "DEVTYPE=ppp\n");
  const auto isCellular = [&](const std::string& interface) {
    return InterfaceKind(std::make_shared<SystemBus>(20s), root.path()).isCellular(interface);
  };
  const auto expect = [&](bool tunnel, bool pointToPoint) {
    EXPECT_EQ(isCellular("tun0"), tunnel);
    EXPECT_EQ(isCellular("ppp0"), pointToPoint);
    EXPECT_FALSE(isCellular("wlp2s0"));
    EXPECT_FALSE(isCellular("enp3s0"));
    EXPECT_FALSE(isCellular("gone0"));
    EXPECT_TRUE(isCellular("wwp0s20u4"));
    EXPECT_TRUE(isCellular("wwan0"));
  };
  expect(false, true);  // without the service
  struct Case {
    const char* kind;
    bool tunnel;
    bool pointToPoint;
  };
  for (const auto& [kind, tunnel, pointToPoint] :
       {Case{"gsm", true, true}, Case{"802-11-wireless", false, false}, Case{"pppoe", false, false},
        Case{"", false, true}, Case{"vpn", false, true}, Case{"7", false, true}}) {
    SCOPED_TRACE(kind);
    bus.run(std::string("network|") + kind);
    expect(tunnel, pointToPoint);
  }
}

// Each would keep its caller for half a minute by itself.
TEST_F(SystemBusTest, NobodyWaitsForAServiceThatDoesNotAnswer) {
  bus.run("modem|Network|Example Mobile|45005");
  bus.run("network|gsm");
  bus.run("freeze|modem");
  for (int i = 0; i < 3; ++i) EXPECT_FALSE(SystemBus(100ms).ask(simCarrier));

  // The limit is one for all that is asked, and who was slow is left alone for a while.
  SystemBus impatient(100ms);
  EXPECT_FALSE(impatient.ask(simCarrier));
  EXPECT_FALSE(impatient.ask(primaryConnection));
  SystemBus forgiving(100ms, 0s);
  EXPECT_FALSE(forgiving.ask(simCarrier));
  EXPECT_EQ(primary(), "gsm");

  LinuxDevice device(LinuxOptions(), std::make_shared<SystemBus>(100ms));
  for (int i = 0; i < 100; ++i) EXPECT_FALSE(device.place().carrier);
}

TEST(SystemBus, ABusMaySayNothingOrNonsense) {
  const TemporaryFolder folder;
  const test::Descriptor listener(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0), "socket");
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  folder.path("bus").copy(address.sun_path, sizeof(address.sun_path) - 1);
  ASSERT_EQ(bind(listener.get(), reinterpret_cast<sockaddr*>(&address), sizeof(address)), 0);
  setenv("DBUS_SYSTEM_BUS_ADDRESS", ("unix:path=" + folder.path("bus")).c_str(), 1);
  EXPECT_FALSE(SystemBus(20s).ask(simCarrier)) << "nobody listens";
  ASSERT_EQ(listen(listener.get(), 10), 0);
  for (int i = 0; i < 3; ++i) EXPECT_FALSE(SystemBus(100ms).ask(simCarrier)) << "nobody answers";

  std::thread liar([&] {
    // Those that have given up, and one at which it hangs up.
    for (int i = 0; i < 4; ++i) close(accept(listener.get(), nullptr, nullptr));
    const test::Descriptor peer(accept4(listener.get(), nullptr, nullptr, SOCK_CLOEXEC), "accept");
    EXPECT_EQ(send(peer.get(), "HTTP/1.1 200 OK\r\n\r\n", 19, MSG_NOSIGNAL), 19);
  });
  EXPECT_FALSE(SystemBus(20s).ask(simCarrier));
  EXPECT_FALSE(SystemBus(20s).ask(simCarrier));
  liar.join();
}

TEST(SimCarrier, ANetworkBelongsToACountry) {
  const std::string providers = R"(<serviceproviders><!-- <country code="xx"> -->
    <country code="kr"><provider><gsm><network-id mcc="450" mnc="05"/></gsm></provider></country>
    <country code="us"><network-id mcc="310" mnc="26"/><network-id mcc="310" mnc="410"/></country>
    <country code="gu"><network-id mcc="310" mnc="370"/><network-id mcc="310" mnc="41"/></country>
    <country code="longer"><network-id mcc="001" mnc="01"/></country>
    <country code="it"><network-id mnc="10" mcc="222"/><network-id mcc="" mnc=""/></country)";
  EXPECT_EQ(simCountry(providers, "45005"), "KR");
  EXPECT_EQ(simCountry(providers, "450081234567890"), "KR") << "an unknown network of a known country";
  EXPECT_EQ(simCountry(providers, "310410123456789"), "US") << "the longest MNC that is known";
  EXPECT_EQ(simCountry(providers, "310370123456789"), "GU");
  EXPECT_EQ(simCountry(providers, "31099"), std::nullopt) << "shared by two countries";
  EXPECT_EQ(simCountry(providers, "22210"), "IT");
  for (const char* none : {"", "4", "00101", "999", "26201"}) EXPECT_EQ(simCountry(providers, none), std::nullopt);
  EXPECT_EQ(simCountry("", "45005"), std::nullopt);
  EXPECT_EQ(simCountry("<country code=\"", "45005"), std::nullopt);
}

}  // namespace
}  // namespace zul::platform
