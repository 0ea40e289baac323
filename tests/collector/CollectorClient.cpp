#include "CollectorClient.h"

#include <sys/socket.h>
#include <zlib.h>

#include <cstdlib>

#include "PercentCoding.h"

namespace zul::collector {

std::string WireRequest::text() const {
  auto text = method + " " + target + " HTTP/1.1\r\nHost: collector\r\n";
  for (const auto& [name, value] : headers) text += name + ": " + value + "\r\n";
  if (method == "POST" && !headers.contains("Content-Length") && !headers.contains("Transfer-Encoding")) {
    text += "Content-Length: " + std::to_string(body.size()) + "\r\n";
  }
  return text + "\r\n" + body;
}

CollectorClient::CollectorClient(int port) : socket_(test::connectToLoopback(port)) {
  const timeval time{.tv_sec = patience.count(), .tv_usec = 0};
  setsockopt(socket_.get(), SOL_SOCKET, SO_RCVTIMEO, &time, sizeof time);
}

void CollectorClient::endSending() {
  ::shutdown(socket_.get(), SHUT_WR);
}

std::optional<WireReply> CollectorClient::receive() {
  std::size_t headEnd = std::string::npos;
  std::size_t whole = std::string::npos;
  for (;;) {
    if (headEnd == std::string::npos && (headEnd = pending_.find("\r\n\r\n")) != std::string::npos) {
      const auto length = pending_.find("Content-Length: ");
      whole = headEnd + 4 + (length < headEnd ? std::strtoul(pending_.c_str() + length + 16, nullptr, 10) : 0);
    }
    if (pending_.size() >= whole) break;
    if (!receiveMore()) return std::nullopt;
  }
  WireReply reply{std::atoi(pending_.c_str() + sizeof "HTTP/1.1"), pending_.substr(0, headEnd),
                  pending_.substr(headEnd + 4, whole - headEnd - 4)};
  pending_.erase(0, whole);
  return reply;
}

std::optional<std::string> CollectorClient::receiveUpTo(std::string_view text) {
  std::size_t at = 0;
  while ((at = pending_.find(text)) == std::string::npos) {
    if (!receiveMore()) return std::nullopt;
  }
  auto piece = pending_.substr(0, at + text.size());
  pending_.erase(0, at + text.size());
  return piece;
}

bool CollectorClient::receiveMore() {
  char piece[4096];
  const auto got = ::recv(socket_.get(), piece, sizeof piece, 0);
  if (got > 0) pending_.append(piece, static_cast<std::size_t>(got));
  return got > 0;
}

std::optional<WireReply> CollectorClient::ask(const WireRequest& request) {
  send(request.text());  // a refusal may come before all is sent
  return receive();
}

std::optional<WireReply> ask(int port, const WireRequest& request) {
  CollectorClient client(port);
  return client.ask(request);
}

WireRequest goodRequest(Endpoint endpoint) {
  const std::pair<std::string, std::string> agent{"User-Agent", "ZUL/1.1.5/iPhone14,2/iOS16.1"};
  const std::pair<std::string, std::string> zul{"authType", "PjhPhqxo8cd84LGpyhkIZA=="};
  switch (endpoint) {
    case Endpoint::token:
      return {"GET",
              "/token/v1/acsTokenRps.do?_qzno=102&_wPkg=com.shop.app",
              {agent, {"authType", "xSJkzK+uVUUzG+q0e24gEg=="}},
              ""};
    case Endpoint::upload:
      return {"POST",
              "/zul/v1/dataRcv.do",
              {agent, zul, {"authToken", "t"}, {"Content-Type", "application/octet-stream"}},
              uploadBodyOf(R"([{"SESSION":{"ltvt":1,"phone":"아이폰 & co"}}])")};
    case Endpoint::errorlog:
      return {"POST", "/zul/errorRcv.do", {agent, zul}, R"({"_qzno":102,"errlog":"network error"})"};
    case Endpoint::pushclick:
      return {"POST",
              "/zul/v1/pushClick.do?profileNo=7&pushNo=12&platform=IOS&pushToken=ab%2Fcd&adid=(null)&pushSk=s",
              {agent, zul},
              ""};
    case Endpoint::fingerprint:
      return {"POST",
              "/frp/v1/fingerPrintRps.do",
              {agent, {"authType", "WX2aT/3XDTuJzTj+gpbyAw=="}},
              R"({"_qzno":102,"advtId":"","isNew":true})"};
    default:
      return {"GET", "/lookup?bundleId=com.shop.app", {}, ""};
  }
}

std::string zlibOf(std::string_view text) {
  auto size = compressBound(text.size());
  std::string out(size, '\0');
  compress(reinterpret_cast<Bytef*>(out.data()), &size, reinterpret_cast<const Bytef*>(text.data()), text.size());
  out.resize(size);
  return out;
}

std::string uploadBodyOf(std::string_view document) {
  return zlibOf(percentEncode(document));
}

}  // namespace zul::collector
