#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <webkit2/webkit2.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <functional>
#include <future>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>

#include "AsioDispatcher.h"
#include "LoopbackServer.h"
#include "RunningCollector.h"
#include "zul/WebKit.h"
#include "zul/platform/WebView.h"

namespace zul::platform {
namespace {

using test::LoopbackServer;
using test::WireRequest;
using ::testing::HasSubstr;
using Queue = Dispatcher::Queue;

void postToGtk(std::function<void()> task) {
  using Task = std::function<void()>;
  g_idle_add_once(
      [](gpointer task) {
        const std::unique_ptr<Task> mine(static_cast<Task*>(task));
        (*mine)();
      },
      new Task(std::move(task)));
}

bool hasDisplay = false;

template <typename Result>
Result await(std::future<Result> future) {
  if (future.wait_for(std::chrono::seconds(30)) == std::future_status::ready) return future.get();
  throw std::runtime_error("nothing came");
}

/// With the library's main queue on a thread of its own, and on GTK's.
class WebKitTest : public testing::TestWithParam<bool> {
 protected:
  void SetUp() override {
    if (!hasDisplay) GTEST_SKIP() << "no display";
    view = webKitWebViews(dispatcher)->hiddenWebView(nullptr);
  }

  template <typename Result, typename Post, typename Work>
  static Result after(Post post, Work work) {
    const auto promise = std::make_shared<std::promise<Result>>();
    post([=] { work([=](Result result) { promise->set_value(std::move(result)); }); });
    return await(promise->get_future());
  }
  template <typename Result, typename Work>
  Result onMain(Work work) {
    return after<Result>([this](auto task) { dispatcher->async(Queue::main, std::move(task)); }, work);
  }

  /// How the load ended: empty when it did well.
  std::string load(const HttpRequest& request) {
    return onMain<std::string>([this, request](const auto& done) {
      view->setNavigationDelegate({[done] { done(""); }, [done](const std::string& problem) { done(problem); }});
      view->load(request);
      EXPECT_TRUE(view->isLoading());
    });
  }

  std::string evaluate(const std::string& script = "document.body.textContent") {
    return onMain<std::string>([this, script](const auto& done) {
      view->evaluateJavaScript(script,
                               [done](auto text, const auto& error) { done(text ? *text : "error: " + error); });
    });
  }

  static HttpRequest get(const std::string& url) {
    HttpRequest request;
    request.url = url;
    return request;
  }

  static HttpRequest fingerprint(const std::string& url) {
    HttpRequest request = get(url);
    request.method = "POST";
    request.headers = {{"authType", "WX2aT/3XDTuJzTj+gpbyAw=="}};
    request.body = R"({"_qzno":1001,"vendorId":"é"})";
    return request;
  }

  const std::shared_ptr<AsioDispatcher> dispatcher =
      std::make_shared<AsioDispatcher>(GetParam() ? AsioDispatcher::HostLoop(postToGtk) : AsioDispatcher::HostLoop());
  std::shared_ptr<WebView> view;
};

INSTANTIATE_TEST_SUITE_P(MainQueue, WebKitTest, testing::Bool(),
                         [](const auto& on) { return on.param ? "OnGtk" : "OnItsOwnThread"; });

TEST_P(WebKitTest, PostsToTheCollectorAndReadsItsAnswer) {
  test::RunningCollector collector;
  collector.setAnswers(R"({"fingerprint":[{"body":{"qzs":"<b>&amp;","qzp":30}}]})");
  EXPECT_EQ(load(fingerprint("http://" + collector.host() + "/frp/v1/fingerPrintRps.do")), "");
  EXPECT_FALSE(onMain<bool>([this](const auto& done) { done(view->isLoading()); }));
  EXPECT_EQ(evaluate(), R"({"qzs":"<b>&amp;","qzp":30})");
  EXPECT_EQ(collector.counts().good, 1u);
  EXPECT_EQ(collector.counts().bad, 0u);
}

TEST_P(WebKitTest, IsARealBrowser) {
  LoopbackServer server([](const WireRequest& request) {
    if (request.line.find("/from") != std::string::npos) {
      return LoopbackServer::answer("", "Location: /to\r\nSet-Cookie: redirected=1; Path=/\r\n", 302);
    }
    return LoopbackServer::answer(
        "<body><p id=p></p><script>alert('unseen'); p.textContent = 'written: " + request.body + "'</script>",
        "Content-Type: text/html\r\nSet-Cookie: visited=1; Path=/; HttpOnly\r\n", 404);
  });
  EXPECT_EQ(load(fingerprint(server.url("/page"))), "");
  EXPECT_THAT(evaluate(), HasSubstr(R"(written: {"_qzno":1001,"vendorId":"é"})"));
  ASSERT_EQ(server.requests().size(), 1u);
  const WireRequest first = server.requests()[0];
  EXPECT_EQ(first.line, "POST /page HTTP/1.1");
  EXPECT_EQ(first.header("authType") + first.header("authtype"), "WX2aT/3XDTuJzTj+gpbyAw==");
  EXPECT_EQ(first.header("Content-Type"), "");
  EXPECT_EQ(evaluate("navigator.userAgent"), first.header("User-Agent"));
  EXPECT_EQ(evaluate("location.pathname"), "/page");
  EXPECT_THAT(evaluate("no.such.thing"), HasSubstr("error: "));
  EXPECT_THAT(evaluate("null"), HasSubstr("error: "));

  EXPECT_EQ(load(fingerprint(server.url("/from"))), "");
  ASSERT_EQ(server.requests().size(), 3u);
  EXPECT_THAT(server.requests()[1].header("Cookie"), HasSubstr("visited=1"));
  EXPECT_EQ(server.requests()[2].line, "GET /to HTTP/1.1");
  EXPECT_THAT(server.requests()[2].header("Cookie"), HasSubstr("redirected=1"));
  EXPECT_EQ(evaluate("location.pathname"), "/to");
  EXPECT_EQ(load(get(server.url("/plain"))), "");
  EXPECT_EQ(server.requests().back().line, "GET /plain HTTP/1.1");
}

TEST_P(WebKitTest, FailsWhereThereIsNoPageAndForStrangersThatDoNotAllowIt) {
  LoopbackServer stranger([](const WireRequest&) { return LoopbackServer::answer("stranger"); });
  LoopbackServer server([&](const WireRequest& request) {
    if (request.line.find("/secret") != std::string::npos) {
      return LoopbackServer::answer("who?", "WWW-Authenticate: Basic realm=\"x\"\r\n", 401);
    }
    if (request.line.find("/away") == std::string::npos) return std::string();
    return LoopbackServer::answer("", "Location: " + stranger.url("/") + "\r\n", 307);
  });
  EXPECT_NE(load(fingerprint(server.url("/closed"))), "");
  EXPECT_NE(load(get(server.url("/closed"))), "");
  EXPECT_NE(load(fingerprint(server.url("/away"))), "");
  EXPECT_NE(load(fingerprint(server.url("/secret"))), "");
  for (const auto& request : stranger.requests())
    EXPECT_EQ(request.header("authType") + request.header("authtype"), "");
  EXPECT_THAT(load(get("file:///etc/hostname")), HasSubstr("not a http"));
}

TEST_P(WebKitTest, GivesUpALoadForAnotherOrForItsEnd) {
  std::promise<void> arrived;
  std::promise<void> release;
  const auto released = release.get_future().share();
  LoopbackServer server([&](const WireRequest& request) {
    if (request.line.find("/late") == std::string::npos) return LoopbackServer::answer("second");
    if (request.line.find("/later") == std::string::npos) arrived.set_value();
    released.wait_for(std::chrono::seconds(30));
    return LoopbackServer::answer("first");
  });
  const auto told = std::make_shared<std::atomic<int>>(0);
  onMain<bool>([&](const auto& done) {
    view->setNavigationDelegate({[told] { ++*told; }, [told](const std::string&) { ++*told; }});
    view->load(fingerprint(server.url("/late")));
    done(true);
  });
  await(arrived.get_future());
  EXPECT_EQ(load(fingerprint(server.url("/"))), "");
  EXPECT_EQ(evaluate(), "second");
  HttpRequest endless = fingerprint(server.url("/later"));
  endless.timeout = 0.2;
  EXPECT_EQ(load(endless), "timed out");
  onMain<bool>([&](const auto& done) {
    view->load(fingerprint(server.url("/later")));
    view.reset();
    done(true);
  });
  release.set_value();
  EXPECT_EQ(*told, 0);
}

TEST_P(WebKitTest, ReadsTheHostsWebViewForAsLongAsThatExists) {
  const auto onGtk = [](auto work) { return after<bool>(postToGtk, work); };
  WebKitWebView* host = nullptr;
  onGtk([&](const auto& done) {
    host = WEBKIT_WEB_VIEW(g_object_ref_sink(webkit_web_view_new()));
    webkit_settings_set_user_agent(webkit_web_view_get_settings(host), "Shop/1");
    view = webKitWebView(dispatcher, host);
    done(true);
  });
  EXPECT_EQ(evaluate("navigator.userAgent"), "Shop/1");
  onGtk([&](const auto& done) {
    g_object_unref(host);
    done(true);
  });
  EXPECT_EQ(evaluate("navigator.userAgent"), "error: the web view is gone");
}

}  // namespace
}  // namespace zul::platform

// The main thread is the one of a host with windows; the tests are beside it.
int main(int argc, char** argv) {
  using namespace zul::platform;
  testing::InitGoogleTest(&argc, argv);
  setenv("NO_AT_BRIDGE", "1", 1);
  hasDisplay = gtk_init_check(nullptr, nullptr) != FALSE;
  GMainLoop* const loop = g_main_loop_new(nullptr, FALSE);
  int result = 0;
  std::thread tests([&] {
    result = RUN_ALL_TESTS();
    postToGtk([loop] { g_main_loop_quit(loop); });
  });
  g_main_loop_run(loop);
  tests.join();
  g_main_loop_unref(loop);
  return result;
}
