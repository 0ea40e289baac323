#include <gmock/gmock.h>

#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

#include "LinuxDevice.h"
#include "TemporaryFolder.h"

namespace zul::platform {
namespace {

using test::TemporaryFolder;
using testing::AnyOf;
using testing::HasSubstr;
using testing::Not;

LinuxOptions application(const std::string& id) {
  LinuxOptions options;
  options.applicationId = id;
  return options;
}

/// A system of its own, as far as it is given.
class LinuxDeviceTest : public testing::Test {
 protected:
  void write(const std::string& path, const std::string& text) const {
    std::filesystem::create_directories(std::filesystem::path(root.path(path)).parent_path());
    root.write(path, text);
  }
  std::string vendorIdentifier(const std::string& id) const {
    return LinuxDevice(application(id), bus, root.path()).system().vendorIdentifier;
  }
  std::string model() const { return LinuxDevice(application("a"), bus, root.path()).place().model; }

  const TemporaryFolder root;
  const std::shared_ptr<SystemBus> bus = std::make_shared<SystemBus>();
};

TEST_F(LinuxDeviceTest, VendorIdentifierIsTheVendorsOnTheMachine) {
  const std::string machine = "0123456789abcdef0123456789abcdef";
  write("etc/machine-id", machine + "\n");
  const auto shop = vendorIdentifier("com.example.shop");
  EXPECT_THAT(shop, testing::MatchesRegex("[0-9A-F]{8}(-[0-9A-F]{4}){3}-[0-9A-F]{12}"));
  EXPECT_THAT(shop, Not(AnyOf(HasSubstr("0123"), HasSubstr("4567"), HasSubstr("CDEF"))));
  EXPECT_EQ(shop, vendorIdentifier("com.example.shop"));
  EXPECT_EQ(shop, vendorIdentifier("com.example.news"));
  EXPECT_EQ(shop, vendorIdentifier("com.example.x"));
  for (const char* other : {"com.other.shop", "com.example.shop.extra", "shop", ".shop", "com.example"}) {
    EXPECT_NE(shop, vendorIdentifier(other)) << other;
  }
  EXPECT_NE(vendorIdentifier("shop"), vendorIdentifier("news"));

  write("etc/machine-id", "fedcba9876543210fedcba9876543210\n");
  const auto elsewhere = vendorIdentifier("com.example.shop");
  EXPECT_NE(shop, elsewhere);
  // A system that has no identifier yet says so, or leaves the file empty.
  write("var/lib/dbus/machine-id", machine);
  for (const char* none : {"uninitialized\n", "", "\n"}) {
    write("etc/machine-id", none);
    EXPECT_EQ(shop, vendorIdentifier("com.example.shop")) << none;
  }
}

TEST_F(LinuxDeviceTest, ModelComesFromTheFirmwareOrTheDeviceTree) {
  const auto hardware = model();
  EXPECT_NE(hardware, "");
  write("proc/device-tree/model", std::string("Some Board 4 Rev 1.1\0", 21));
  EXPECT_EQ(model(), "Some Board 4 Rev 1.1");
  write("sys/class/dmi/id/product_name", "Notebook 14 \n");
  EXPECT_EQ(model(), "Notebook 14");
  for (const char* filler : {"To Be Filled By O.E.M.\n", "Default string\n", " \n", "", "\xFF\xFE\n"}) {
    write("sys/class/dmi/id/product_name", filler);
    EXPECT_EQ(model(), "Some Board 4 Rev 1.1") << filler;
  }
  std::filesystem::remove_all(root.path("proc"));
  EXPECT_EQ(model(), hardware);
}

TEST_F(LinuxDeviceTest, TheHostKnowsBetterThanTheSystem) {
  write("etc/os-release", "NAME=x\nVERSION_ID=\"12.3\"\n");
  write("sys/class/drm/card0-A/status", "disconnected\n");
  write("sys/class/drm/card0-A/modes", "640x480\n");
  write("sys/class/drm/card0-B/status", "connected\n");
  write("sys/class/drm/card0-B/modes", "1920x1080\n1280x720\n");
  auto options = application("com.example.shop");
  LinuxDevice plain(options, bus, root.path());
  EXPECT_EQ(plain.system().systemVersion, "12.3");
  EXPECT_EQ(plain.place().screenWidth, 1920);
  EXPECT_EQ(plain.place().screenHeight, 1080);
  EXPECT_EQ(plain.place().screenScale, 1);
  EXPECT_FALSE(plain.place().carrier);
  EXPECT_FALSE(plain.advertising().trackingEnabled);
  EXPECT_EQ(plain.advertising().identifier, "00000000-0000-0000-0000-000000000000");

  std::optional<LinuxOptions::Screen> screen = {{390, 844, 3}};
  options.screen = [&] { return screen; };
  options.carrier = [] { return Carrier{"KR", "Example Mobile"}; };
  options.advertising = [] { return AdvertisingValues{"A", true}; };
  LinuxDevice device(options, bus, root.path());
  EXPECT_EQ(device.place().screenWidth, 390);
  EXPECT_EQ(device.place().screenScale, 3);
  EXPECT_EQ(device.place().carrier->name, "Example Mobile");
  EXPECT_EQ(device.advertising().identifier, "A");
  screen = std::nullopt;
  EXPECT_EQ(device.place().screenWidth, 1920) << "asked anew";

  options.screen = []() -> std::optional<LinuxOptions::Screen> { throw std::runtime_error("x"); };
  options.advertising = []() -> std::optional<AdvertisingValues> { throw 1; };
  EXPECT_EQ(LinuxDevice(options, bus, root.path()).place().screenWidth, 1920);
  EXPECT_FALSE(LinuxDevice(options, bus, root.path()).advertising().trackingEnabled);
}

TEST(LinuxDevice, ReadsTheLocaleVariables) {
  using Tags = std::vector<std::string>;
  struct Case {
    LocaleVariables variables;
    Tags languages;
    std::optional<std::string> country;
  };
  const Case cases[] = {
      {{nullptr, nullptr, "ko_KR.UTF-8", nullptr}, {"ko-KR"}, "KR"},
      {{"de_AT@euro", "fr_FR", "ko_KR", nullptr}, {"de-AT"}, "AT"},
      {{"", "fr_FR", "ko_KR", nullptr}, {"fr-FR"}, "FR"},
      {{nullptr, nullptr, "en_US.UTF-8", "pt_BR:pt::C:en"}, {"pt-BR", "pt", "en"}, "US"},
      {{nullptr, nullptr, "eo", ""}, {"eo"}, std::nullopt},
      {{"C.UTF-8", nullptr, "ko_KR", "fr"}, {"en"}, std::nullopt},
      {{nullptr, "POSIX", nullptr, nullptr}, {"en"}, std::nullopt},
      {{}, {"en"}, std::nullopt},
  };
  for (const auto& [variables, languages, country] : cases) {
    PlaceValues values;
    readLocale(variables, values);
    EXPECT_EQ(values.preferredLanguages, languages);
    EXPECT_EQ(values.countryCode, country);
  }
}

}  // namespace
}  // namespace zul::platform
