#include <gmock/gmock.h>

#include <cstdlib>
#include <optional>
#include <set>
#include <sstream>
#include <string>

#include "Child.h"
#include "HostPlatform.h"
#include "RunningCollector.h"
#include "SqliteStore.h"
#include "TemporaryFolder.h"

namespace zul::test {
namespace {

using testing::Contains;
using testing::HasSubstr;
using testing::IsSupersetOf;
using testing::Not;

struct Launch {
  std::set<std::string> opened;
  std::string phone;  // in the payload
};

/// A whole launch of a host, with an event, where the user's answer is stored as `status`.
Launch launch(const TemporaryFolder& folder, std::optional<int> status) {
  RunningCollector collector;
  writeInfoPlist(folder.path(), "tk");
  if (status) {
    const auto text = "{\"ATTAuthStatus\":" + std::to_string(*status) + "}";
    const platform::DocumentStore::Write writes[] = {
        {platform::DocumentStore::Table::documents, "ATTAuthStatusInfo", text}};
    EXPECT_EQ(platform::SqliteStore(folder.path("store")).commit(writes), platform::DocumentStore::Status::ok);
  }
  setenv("LD_PRELOAD", ZUL_OPENED_FILES, 1);
  setenv("ZUL_OPENED", folder.path("opened").c_str(), 1);
  setenv("DBUS_SYSTEM_BUS_ADDRESS", ("unix:path=" + folder.path("bus")).c_str(), 1);
  Child host(ZUL_HOST, {"report", "0", "1", "--collector", collector.baseUrl(), "--lookup", collector.host(), "--data",
                        folder.path("store"), "--bundle", folder.path(), "--pace", "0.001"});
  unsetenv("LD_PRELOAD");
  const auto request = collector.waitFor(
      [](const collector::RecordedRequest& request) {
        return request.endpoint == collector::Endpoint::upload && request.good();
      },
      std::chrono::seconds(30));
  host.closeInput();
  EXPECT_EQ(host.exitStatus(), 0) << host.output();

  Launch seen;
  std::istringstream lines(contents(folder.path("opened")));
  for (std::string line; std::getline(lines, line);) seen.opened.insert(line);
  if (request) seen.phone = request->body().at(0).at("SESSION").at("phone").as_string();
  return seen;
}

// What could tell the device or its place apart is not even looked at before the user has agreed.
TEST(Consent, OpensNothingThatItMustNotReport) {
  for (const auto status : {std::optional<int>(), std::optional(0), std::optional(1), std::optional(2)}) {
    SCOPED_TRACE(status ? std::to_string(*status) : "no answer");
    const TemporaryFolder folder;
    const auto [opened, phone] = launch(folder, status);
    EXPECT_EQ(phone, "ANP");
    EXPECT_THAT(opened, IsSupersetOf({folder.path("Info.plist"), folder.path("store/ZULLocalDB.sqlite")}));
    for (const auto& name :
         {std::string("/sys/class/dmi"), std::string("/proc/device-tree"), std::string("/sys/class/drm"),
          std::string("mobile-broadband-provider-info"), std::string("DeviceDisplayMap"), folder.path("bus")}) {
      EXPECT_THAT(opened, Not(Contains(HasSubstr(name))));
    }
  }
  const TemporaryFolder folder;
  const auto [opened, phone] = launch(folder, 3);
  EXPECT_NE(phone, "ANP");
  EXPECT_THAT(opened, IsSupersetOf({std::string("/sys/class/dmi/id/product_name"), std::string("/sys/class/drm"),
                                    folder.path("bus")}));
}

}  // namespace
}  // namespace zul::test
