// The exchange of the platform's token for its attribution record, with the real HTTP client and servers of every kind.

#include <gtest/gtest.h>

#include <future>
#include <memory>
#include <string>

#include "HostPlatform.h"
#include "KeptLog.h"
#include "LoopbackServer.h"
#include "Patience.h"
#include "Runtime.h"
#include "SimulatedPlatform.h"
#include "TemporaryFolder.h"
#include "Tracker.h"

namespace zul::test {
namespace {

/// A process of an application whose platform has search ads.
struct Process {
  explicit Process(const std::string& service) {
    writeInfoPlist(folder.path(), "tk");
    HostPlatform host({.data = folder.path("store"), .bundle = folder.path(), .collector = service, .log = log});
    const auto services = std::make_shared<platform::SimulatedAdServices>();
    services->token = "ad-token";
    const auto device = std::make_shared<platform::SimulatedDevice>();
    device->values.systemVersion = "17.2";
    host.platform.adServices = services;
    host.platform.device = device;
    host.platform.deployment.searchAdsBaseUrl = service;
    runtime = std::make_unique<Runtime>(std::move(host.platform));
  }

  TemporaryFolder folder;
  std::shared_ptr<KeptLog> log = std::make_shared<KeptLog>();
  std::unique_ptr<Runtime> runtime;
};

TEST(SearchAdsTest, WhateverHasABodyIsAnAnswer) {
  const struct {
    std::string body;
    int status;
    std::string understood;
  } cases[] = {{R"({"attribution":true})", 200, R"({"attribution":true})"},
               {"{}", 200, "{}"},
               {"<html>busy", 503, "(null)"},
               {"", 200, "(null)"},
               {R"({"attribution":false})", 404, R"({"attribution":false})"}};
  for (const auto& c : cases) {
    const LoopbackServer server([&](const WireRequest&) { return LoopbackServer::answer(c.body, {}, c.status); });
    Process process(server.url(""));
    process.runtime->tracker().requestIadInfo();
    EXPECT_TRUE(eventually([&] { return process.runtime->tracker().requestIAdDone(); })) << c.body;
    EXPECT_EQ(process.log->count("AAAttribution Dictionary: " + c.understood + "\n"), 1U) << c.body;
    const auto requests = server.requests();
    ASSERT_EQ(requests.size(), 1U);
    EXPECT_EQ(requests[0].line, "POST /api/v1/ HTTP/1.1");
    EXPECT_EQ(requests[0].body, "ad-token");
    EXPECT_EQ(requests[0].header("Content-Type"), "application/json");
  }
}

TEST(SearchAdsTest, WhatDoesNotComeWithinItsTimeIsNone) {
  std::promise<void> end;
  const auto ended = end.get_future().share();
  {
    const LoopbackServer silent([ended](const WireRequest&) {
      ended.wait();
      return LoopbackServer::answer("{}");
    });
    Process process(silent.url(""));
    process.runtime->tracker().requestIadInfo();
    EXPECT_TRUE(eventually([&] { return process.log->count("The search-ads attribution at ") == 1; }));
    EXPECT_FALSE(process.runtime->tracker().requestIAdDone());
    end.set_value();
  }
  const LoopbackServer closing([](const WireRequest&) { return std::string(); });
  Process process(closing.url(""));
  process.runtime->tracker().requestIadInfo();
  EXPECT_TRUE(eventually([&] { return process.log->count("The search-ads attribution at ") == 1; }));
  EXPECT_FALSE(process.runtime->tracker().requestIAdDone());
}

}  // namespace
}  // namespace zul::test
