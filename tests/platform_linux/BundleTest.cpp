#include <gtest/gtest.h>
#include <plist/plist.h>
#include <sys/stat.h>

#include <filesystem>
#include <memory>
#include <string>

#include "InfoPlist.h"
#include "LinuxBundle.h"
#include "TemporaryFolder.h"

// The parser library loses memory over malformed text. It is given such text once in a process.
extern "C" const char* __lsan_default_suppressions() {
  return "leak:libplist";
}

namespace zul::platform {
namespace {

constexpr const char* kHead = R"(<?xml version="1.0" encoding="UTF-8"?>
<!DOCTYPE plist PUBLIC "-//Example//DTD PLIST 1.0//EN" "http://example.com/PropertyList-1.0.dtd">
<plist version="1.0">)";

std::string xml(const std::string& value) {
  return kHead + value + "</plist>";
}

std::string repeated(const std::string& text, int count) {
  std::string out;
  for (int i = 0; i < count; ++i) out += text;
  return out;
}

std::string everything() {
  return xml(R"(<!-- <dict> --><dict>
    <key>CFBundleIdentifier</key><string>com.example.app</string>
    <key>Name &amp; more</key><string>한글 &lt;1&gt;</string>
    <key>Count</key><integer>42</integer><key>Negative</key><integer>-7</integer>
    <key>Ratio</key><real>2.0</real><key>On</key><true/><key>Off</key><false/>
    <key>Date</key><date>2024-01-01T00:00:00Z</date><key>Data</key><data>AAEC</data>
    <key>Schemes</key><array><dict><key>Name</key><string>one</string></dict><string/></array>
    <key>Empty</key><dict/>
  </dict>)");
}

/// The JSON of what `plist` holds, kept in Info.plist.
std::string read(const test::TemporaryFolder& folder, const std::string& plist, std::string* error = nullptr) {
  folder.write("Info.plist", plist);
  LinuxBundle bundle(folder.path(), "fallback");
  std::string json = bundle.infoDictionary().json();
  if (error != nullptr) *error = bundle.lastError();
  return json;
}

std::string toBinary(const std::string& plist) {
  plist_t root = nullptr;
  plist_from_xml(plist.data(), static_cast<std::uint32_t>(plist.size()), &root);
  char* bytes = nullptr;
  std::uint32_t length = 0;
  plist_to_bin(root, &bytes, &length);
  plist_free(root);
  const std::unique_ptr<char, decltype(&plist_to_bin_free)> owner(bytes, plist_to_bin_free);
  return {bytes, length};
}

/// A binary property list of these encoded objects, the first of which is the root.
std::string binary(const std::vector<std::string>& objects) {
  const auto bigEndian = [](std::size_t number, int size) {
    std::string bytes;
    for (int i = size - 1; i >= 0; --i) bytes += static_cast<char>(number >> (8 * i));
    return bytes;
  };
  std::string out = "bplist00";
  std::string table;
  for (const auto& object : objects) {
    table += bigEndian(out.size(), 4);
    out += object;
  }
  const std::size_t place = out.size();
  return out + table + std::string(6, '\0') + "\x04\x04" + bigEndian(objects.size(), 8) + bigEndian(0, 8) +
         bigEndian(place, 8);
}

std::string reference(int index) {
  return {static_cast<char>(index >> 24), static_cast<char>(index >> 16), static_cast<char>(index >> 8),
          static_cast<char>(index)};
}

TEST(LinuxBundle, ReadsBothFormsAlike) {
  const test::TemporaryFolder folder;
  const std::string expected =
      R"({"CFBundleIdentifier":"com.example.app","Name & more":"한글 <1>","Count":42,"Negative":-7,"Ratio":2E0,)"
      R"("On":true,"Off":false,"Schemes":[{"Name":"one"},""],"Empty":{}})";
  EXPECT_EQ(Dictionary::fromJson(read(folder, everything())), Dictionary::fromJson(expected));
  EXPECT_EQ(Dictionary::fromJson(read(folder, toBinary(everything()))), Dictionary::fromJson(expected));
  EXPECT_EQ(LinuxBundle(folder.path(), "fallback").bundleIdentifier(), "com.example.app");
}

/// Files that hold no dictionary, or one that would cost too much.
std::vector<std::pair<std::string, std::string>> hostileFiles() {
  std::vector<std::string> deep;  // arrays of one array each
  std::vector<std::string> wide;  // arrays of ten times the next: 10^40 elements in all
  for (int i = 1; i <= 100'000; ++i) deep.push_back("\xA1" + reference(i));
  for (int i = 1; i <= 40; ++i) wide.push_back("\xAA" + repeated(reference(i), 10));
  deep.emplace_back("\x08");
  wide.emplace_back("\x08");
  const std::string close = "<!-- </dict></key> -->";
  return {
      {"empty", ""},
      {"no plist", "Info"},
      {"a page", "<html><body>404</body></html>"},
      {"root array", xml("<array><string>x</string></array>")},
      {"root text", xml("<string>x</string>")},
      {"unclosed", std::string(kHead) + "<dict><key>a</key>"},
      {"deep", xml(repeated("<dict><key>a</key>", 100'000))},
      {"deep behind comments", xml(repeated("<array>" + close, 100'000))},
      {"own grammar", "<!DOCTYPE plist [<!ENTITY a \"</dict>\">]><plist><dict/></plist>"},
      {"too large", xml("<dict/>" + std::string(4 << 20, ' '))},
      {"binary, deep", binary(deep)},
      {"binary, expanding", binary(wide)},
      {"binary, holding itself", binary({"\xA1" + reference(0)})},
      {"binary, holding itself further down", binary({"\xA1" + reference(1), "\xA1" + reference(0)})},
      {"binary, pointing out", binary({"\xA1" + reference(1000)})},
      {"binary, endless", binary({"\xAF\x13\x7F\xFF\xFF\xFF\xFF\xFF\xFF\xFF"})},
      {"binary, head alone", "bplist00"},
  };
}

TEST(LinuxBundle, TakesNoHarmFromAHostileFile) {
  const test::TemporaryFolder folder;
  for (const auto& [name, text] : hostileFiles()) {
    std::string error;
    EXPECT_EQ(read(folder, text, &error), "{}") << name;
    EXPECT_NE(error, "") << name;

    folder.write("DeviceDisplayMap.plist", text);
    error = "";
    EXPECT_TRUE(LinuxBundle(folder.path(), "").propertyList("DeviceDisplayMap", &error).empty()) << name;
    EXPECT_NE(error, "") << name;
    EXPECT_TRUE(LinuxBundle(folder.path(), "").propertyList("DeviceDisplayMap", nullptr).empty()) << name;
  }

  // Not one byte of a sound file may be worth a crash.
  const std::string sound = toBinary(everything());
  std::string ignored;
  for (std::size_t i = 0; i < sound.size(); ++i) {
    for (const char bits : {'\x01', '\x80', '\xFF'}) {
      std::string broken = sound;
      broken[i] = static_cast<char>(broken[i] ^ bits);
      parseInfoPlist(broken, ignored);
    }
    parseInfoPlist(sound.substr(0, i), ignored);
  }
}

TEST(LinuxBundle, DoesWithoutAFile) {
  const test::TemporaryFolder folder;
  LinuxBundle none(folder.path(), "fallback");
  EXPECT_TRUE(none.infoDictionary().empty());
  EXPECT_EQ(none.bundleIdentifier(), "fallback");
  EXPECT_EQ(none.lastError(), "");

  for (const auto& make :
       {+[](const char* path) { return mkfifo(path, 0600); }, +[](const char* path) { return mkdir(path, 0700); }}) {
    const test::TemporaryFolder odd;
    ASSERT_EQ(make(odd.path("Info.plist").c_str()), 0);
    LinuxBundle bundle(odd.path(), "fallback");
    EXPECT_EQ(bundle.bundleIdentifier(), "fallback");
    EXPECT_EQ(bundle.lastError(), "not a regular file");
  }
}

TEST(LinuxBundle, ReadsAMapOfDevicesInBothForms) {
  const std::string map = xml(R"(<dict>
    <key>iPhone14,2</key><dict><key>size</key><real>6.06</real></dict>
    <key>whole</key><dict><key>size</key><integer>6</integer></dict>
    <key>text</key><dict><key>size</key><string>6</string></dict>
    <key>none</key><dict/>
    <key>no dictionary</key><real>6</real>
    <key>data</key><dict><key>size</key><data>AAEC</data></dict>
  </dict>)");
  const test::TemporaryFolder folder;
  for (const auto& text : {map, toBinary(map)}) {
    folder.write("DeviceDisplayMap.plist", text);
    LinuxBundle bundle(folder.path(), "");
    std::string error = "before";
    const auto sizes = bundle.propertyList("DeviceDisplayMap", &error);
    EXPECT_EQ(error, "");
    const auto size = [&](const char* model) { return sizes.dictionary(model).number("size"); };
    EXPECT_EQ(size("iPhone14,2"), 6.06);
    EXPECT_EQ(size("whole"), 6);
    for (const char* model : {"text", "none", "no dictionary", "data", "unknown"}) EXPECT_EQ(size(model), 0) << model;

    EXPECT_TRUE(bundle.propertyList("Other", &error).empty());
    EXPECT_EQ(error, "") << "there is none";
    std::filesystem::create_directory(folder.path("inner"));
    EXPECT_TRUE(LinuxBundle(folder.path("inner"), "").propertyList("../DeviceDisplayMap", &error).empty());
  }
}

TEST(LinuxBundle, GivesResourcesOfItsFolderAlone) {
  const test::TemporaryFolder folder;
  const std::string bytes("\0\xFFmap", 5);
  std::filesystem::create_directory(folder.path("bundle"));
  folder.write("bundle/map", bytes);
  folder.write("secret", "outside");
  folder.write("bundle/large", std::string((8 << 20) + 1, 'l'));
  LinuxBundle bundle(folder.path("bundle"), "");
  EXPECT_EQ(bundle.resource("map"), bytes);
  for (const char* name : {"", ".", "..", "../secret", "/etc/hostname", "none", "large"}) {
    EXPECT_FALSE(bundle.resource(name)) << name;
  }

  // Without a folder of its own, the one of this program.
  const auto program = std::filesystem::read_symlink("/proc/self/exe");
  EXPECT_EQ(LinuxBundle("", "").resource(program.filename().string() + ".resource"), "beside");
}

}  // namespace
}  // namespace zul::platform
