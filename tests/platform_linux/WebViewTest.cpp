#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>

#include "AsioDispatcher.h"
#include "CurlHttpClient.h"
#include "LoopbackServer.h"
#include "PageText.h"
#include "RunningCollector.h"
#include "zul/ZULSessionVersion.h"
#include "zul/platform/WebView.h"

namespace zul::platform {
namespace {

using test::LoopbackServer;
using test::WireRequest;
using ::testing::HasSubstr;

const std::string kHtml = "Content-Type: text/html\r\n";

HttpRequest get(const std::string& url) {
  HttpRequest request;
  request.url = url;
  return request;
}

/// A request of the kind that pages are asked for with.
HttpRequest fingerprint(const std::string& url) {
  HttpRequest request = get(url);
  request.method = "POST";
  request.headers = {{"authType", "secret"}, {"Content-Type", "application/json"}};
  request.body = R"({"_qzno":1001})";
  return request;
}

/// What a page says of itself and how its load ended.
struct Visit {
  std::string problem;
  std::string text;
};

class WebViewTest : public testing::Test {
 protected:
  using Queue = Dispatcher::Queue;

  /// Calls `work` on the main queue, with what ends the wait, and waits for that.
  template <typename Result, typename Work>
  Result onMain(Work work) {
    const auto promise = std::make_shared<std::promise<Result>>();
    dispatcher->async(Queue::main, [=] { work([=](Result result) { promise->set_value(std::move(result)); }); });
    auto future = promise->get_future();
    if (future.wait_for(std::chrono::seconds(30)) == std::future_status::ready) return future.get();
    throw std::runtime_error("nothing came");
  }

  std::pair<std::optional<std::string>, std::string> evaluate(const std::string& script) {
    using Result = std::pair<std::optional<std::string>, std::string>;
    return onMain<Result>([this, script](const auto& done) {
      view->evaluateJavaScript(script, [done](auto text, const auto& error) { done(Result(text, error)); });
    });
  }

  Visit visit(const HttpRequest& request) {
    const auto problem = onMain<std::string>([this, request](const auto& done) {
      view->setNavigationDelegate({[done] { done(""); }, [done](const std::string& problem) { done(problem); }});
      view->load(request);
      EXPECT_TRUE(view->isLoading());
    });
    const bool loading = onMain<bool>([this](const auto& done) { done(view->isLoading()); });
    EXPECT_FALSE(loading);
    return {problem, evaluate("document.body.textContent").first.value_or("no text")};
  }

  Visit visit(const std::string& url) { return visit(get(url)); }

  const std::shared_ptr<CurlHttpClient> http = std::make_shared<CurlHttpClient>();
  const std::shared_ptr<AsioDispatcher> dispatcher = std::make_shared<AsioDispatcher>();
  std::shared_ptr<WebView> view = pageWebViews(http, dispatcher)->hiddenWebView(nullptr);
};

TEST_F(WebViewTest, GivesTheTextOfWhatItPosted) {
  LoopbackServer server([](const WireRequest& request) {
    if (request.line.find("/missing") != std::string::npos) return LoopbackServer::answer("<p>none", kHtml, 404);
    return LoopbackServer::answer("<body><p>" + request.body + "</p></body>", kHtml);
  });
  EXPECT_EQ(evaluate("document.body.textContent").first, "");
  const Visit page = visit(fingerprint(server.url("/frp")));
  EXPECT_EQ(page.problem, "");
  EXPECT_EQ(page.text, R"({"_qzno":1001})");
  const WireRequest sent = server.requests().back();
  EXPECT_EQ(sent.line, "POST /frp HTTP/1.1");
  EXPECT_EQ(sent.header("authType"), "secret");
  EXPECT_EQ(sent.header("User-Agent"), "Mozilla/5.0 (Linux) ZULSession/" ZUL_VERSION_STRING);
  EXPECT_EQ(evaluate("navigator.userAgent").first, sent.header("User-Agent"));
  EXPECT_EQ(view->customUserAgent(), std::nullopt);

  EXPECT_EQ(visit(server.url("/missing")).text, "none");
  const auto [text, error] = evaluate("alert(1)");
  EXPECT_EQ(text, std::nullopt);
  EXPECT_THAT(error, HasSubstr("alert(1)"));
}

TEST_F(WebViewTest, ReadsTheCollectorsAnswer) {
  test::RunningCollector collector;
  collector.setAnswers(R"({"fingerprint":[{"body":{"qzs":"<b>&amp;","qzp":30}}]})");
  HttpRequest request = fingerprint("http://" + collector.host() + "/frp/v1/fingerPrintRps.do");
  request.headers = {{"authType", "WX2aT/3XDTuJzTj+gpbyAw=="}};
  EXPECT_EQ(visit(request).text, R"({"qzs":"<b>&amp;","qzp":30})");
  EXPECT_EQ(collector.counts().good, 1u);
}

TEST_F(WebViewTest, TakesPagesOfEightMegabytesAndKeepsTheLastAfterALargerOne) {
  LoopbackServer server([](const WireRequest& request) {
    const std::size_t size = HttpClient::kMaxBody + (request.line.find("/more") == std::string::npos ? 0 : 1);
    return LoopbackServer::answer(std::string(size, '['), "Content-Type: application/json\r\n");
  });
  EXPECT_EQ(visit(server.url("/")).text, std::string(HttpClient::kMaxBody, '['));
  const Visit larger = visit(server.url("/more"));
  EXPECT_EQ(larger.problem, "answer larger than 8 MiB");
  EXPECT_EQ(larger.text.size(), HttpClient::kMaxBody);
}

TEST_F(WebViewTest, FollowsRedirectsAsABrowserDoesAndTellsStrangersNothing) {
  LoopbackServer stranger([](const WireRequest& request) {
    return LoopbackServer::answer(request.header("authType") + "," + request.header("Content-Type") + "," +
                                  request.body);
  });
  LoopbackServer server([&](const WireRequest& request) {
    const std::string path = request.line.substr(request.line.find(' ') + 1);
    const auto to = [](int status, const std::string& url) {
      return LoopbackServer::answer("moved", "Set-Cookie: visit=1\r\nLocation: " + url + "\r\n", status);
    };
    if (path.starts_with("/away")) return to(307, stranger.url("/"));
    if (path.starts_with("/loop")) return to(302, "/loop");
    if (path.starts_with("/file")) return to(302, "file:///etc/hostname");
    if (path.starts_with("/3")) return to(std::stoi(path.substr(1)), "/end");
    return LoopbackServer::answer(request.line.substr(0, 5) + request.header("authType") + "," +
                                  request.header("Cookie") + "," + request.header("Content-Type") + "," + request.body);
  });
  for (const char* status : {"301", "302", "303"}) {
    EXPECT_EQ(visit(fingerprint(server.url("/") + status)).text, "GET /secret,visit=1,,") << status;
  }
  for (const char* status : {"307", "308"}) {
    EXPECT_EQ(visit(fingerprint(server.url("/") + status)).text,
              R"(POST secret,visit=1,application/json,{"_qzno":1001})");
  }
  EXPECT_EQ(visit(server.url("/304")).problem, "");  // with a Location, and yet no redirect
  EXPECT_EQ(visit(fingerprint(server.url("/away"))).text, R"(,application/json,{"_qzno":1001})");
  EXPECT_NE(visit(server.url("/file")).problem, "");
  const std::size_t before = server.requests().size();
  EXPECT_EQ(visit(server.url("/loop")).problem, "too many redirects");
  EXPECT_EQ(server.requests().size(), before + 21);
}

TEST_F(WebViewTest, HasCookiesOfItsOwnForAsLongAsItLives) {
  LoopbackServer server([](const WireRequest& request) {
    return LoopbackServer::answer(request.header("Cookie"), "Set-Cookie: seen=1; Path=/\r\n");
  });
  for (int life = 0; life < 3; ++life) {
    view = pageWebViews(http, dispatcher)->hiddenWebView(nullptr);
    EXPECT_EQ(visit(server.url("/")).text, "");
    EXPECT_EQ(visit(server.url("/")).text, "seen=1");
  }
  EXPECT_EQ(http->fetch(get(server.url("/"))).body, "");
  EXPECT_EQ(http->fetch(get(server.url("/"))).body, "seen=1");
}

TEST_F(WebViewTest, ALoadThatIsGivenUpIsNotTold) {
  std::promise<void> arrived;
  std::promise<void> release;
  const auto released = release.get_future().share();
  LoopbackServer server([&](const WireRequest& request) {
    if (request.line.find("/late") == std::string::npos) return LoopbackServer::answer("second");
    arrived.set_value();
    released.wait();
    return LoopbackServer::answer("first");
  });
  const auto told = std::make_shared<int>(0);
  onMain<bool>([&](const auto& done) {
    view->setNavigationDelegate({[told] { ++*told; }, [told](const std::string&) { ++*told; }});
    view->load(get(server.url("/late")));
    done(true);
  });
  arrived.get_future().wait();
  EXPECT_EQ(visit(server.url("/")).text, "second");
  release.set_value();
  http->fetch(get(server.url("/")));
  EXPECT_EQ(visit(server.url("/")).text, "second");
  EXPECT_EQ(*told, 0);
}

TEST_F(WebViewTest, EndsWithoutAnAnswerAndMayGoInItsDelegate) {
  LoopbackServer silent([](const WireRequest& request) {
    if (request.line.find("/endless") == std::string::npos) return std::string();
    return std::string("HTTP/1.1 200 OK\r\nContent-Length: 1000\r\n\r\n<p>begun");
  });
  EXPECT_NE(visit(silent.url("/")).problem, "");
  HttpRequest endless = get(silent.url("/endless"));
  endless.timeout = 0.1;
  EXPECT_NE(visit(endless).problem, "");
  EXPECT_THAT(visit("ftp://127.0.0.1/").problem, HasSubstr("not a http"));

  onMain<bool>([&](const auto& done) {
    view->setNavigationDelegate({{}, [&, done](const std::string&) {
                                   view->evaluateJavaScript("navigator.userAgent", [](auto, const auto&) { FAIL(); });
                                   view.reset();
                                   done(true);
                                   throw std::runtime_error("a delegate's own affair");
                                 }});
    view->load(get(silent.url("/")));
  });
  EXPECT_TRUE(onMain<bool>([&](const auto& done) { done(view == nullptr); }));
}

TEST(PageText, IsThatOfTheBody) {
  struct {
    std::string type, answer, text;
  } const cases[] = {
      {"text/html; charset=utf-8", "<title>no</title><style>no</style><body>a<p>b</p>\r\n<!-- no -->&amp;&eacute;",
       "ab\n&é"},
      {"TEXT/HTML",
       "<body><script>if (a<b) c='<p>';</script><style>q{}</style><pre>{\"a\": 1}</pre></body>after</html>",
       "if (a<b) c='<p>';q{}{\"a\": 1}after"},
      {"text/html", R"({"qzs":"google","qzp":30})", R"({"qzs":"google","qzp":30})"},
      {"application/xhtml+xml", R"(<?xml version="1.0"?><html><body><p>x<br/>y</p></body></html>)", "xy"},
      {"application/json;charset=UTF-8", "\xEF\xBB\xBF{\"a\":\"<p>&amp;\"}", "{\"a\":\"<p>&amp;\"}"},
      {"application/problem+json", "{}", "{}"},
      {"text/plain", "<html>as it is\r\n", "<html>as it is\n"},
      {"", " <p>sniffed", "sniffed"},
      {"json", "{\"a\":\"<\"}", "{\"a\":\"<\"}"},
      {"text/html", "", ""},
      {"text/plain", std::string("a\0b\xC3\x28\xED\xA0\x80", 8), "a\uFFFDb\uFFFD(\uFFFD\uFFFD\uFFFD"},
      {"text/html", std::string("<meta charset=euc-kr><p>a\0b\xFF", 28), "a\uFFFDb\uFFFD"},
  };
  constexpr auto kEntities = R"(<!DOCTYPE html [<!ENTITY a "b"><!ENTITY c SYSTEM "file:///etc/hostname">]><p>&a;|&c;)";
  EXPECT_THAT(pageText("text/html", kEntities), HasSubstr("&a;|&c;"));
  for (const auto& [type, answer, text] : cases) EXPECT_EQ(pageText(type, answer), text) << type << " " << answer;
  for (const char* type : {"image/png", "application/octet-stream", "text/xml", "application/json-seq"}) {
    EXPECT_THROW(pageText(type, "{}"), std::runtime_error) << type;
  }
}

std::string repeated(const std::string& piece, std::size_t size) {
  std::string text;
  while (text.size() < size) text += piece;
  return text;
}

TEST(PageText, TakesTimeInProportionToThePage) {
  constexpr std::size_t kSize = 256 << 10;
  EXPECT_EQ(pageText("text/html", repeated("<p>word</p>", kSize)).size() * 11 / 4, kSize / 11 * 11 + 11);
  EXPECT_EQ(pageText("text/html", "<pre>" + std::string(kSize, 'x')), std::string(kSize, 'x'));
  EXPECT_EQ(pageText("text/html", repeated("</i>", kSize)), "");
  std::string attributes = "<p";
  for (int i = 0; attributes.size() < kSize; ++i) attributes += " a" + std::to_string(i) + "='>'";
  for (const std::string& hostile : {repeated("<b>", kSize), repeated("<table><tr><td>", kSize), attributes + ">",
                                     repeated("<a ", kSize), "<p x='" + repeated("&", kSize)}) {
    EXPECT_THROW(pageText("text/html", hostile), std::runtime_error) << hostile.substr(0, 20);
  }
}

}  // namespace
}  // namespace zul::platform
