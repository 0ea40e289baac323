#include "Contract.h"

#include <fmt/format.h>

#include <algorithm>
#include <boost/json.hpp>
#include <initializer_list>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

#include "Endpoints.h"
#include "Json.h"
#include "PayloadReader.h"
#include "UploadDecoder.h"
#include "Version.h"

namespace zul::collector {

namespace {

constexpr std::size_t kMaxObject = std::size_t{1} << 20;  // of a body that is one JSON object

using Check = void (*)(const HttpRequest&, Verdict&, const PayloadReader::Take&);

void require(bool holds, std::string_view otherwise) {
  if (!holds) throw Fault(std::string(otherwise));
}

const std::string* find(const HttpRequest& request, std::string_view name) {
  const auto found = request.headers.find(name);
  return found == request.headers.end() ? nullptr : &found->second;
}

/// The values of a query that has exactly these keys, in this order.
std::vector<std::string_view> queryValues(std::string_view query, std::initializer_list<std::string_view> keys) {
  std::vector<std::string_view> values;
  std::size_t begin = 0;
  for (const auto key : keys) {
    require(begin <= query.size(), fmt::format("the query has no {}", key));
    const auto end = std::min(query.find('&', begin), query.size());
    const auto piece = query.substr(begin, end - begin);
    const auto equals = piece.find('=');
    require(piece.substr(0, equals) == key, fmt::format("the query has \"{}\" where {} belongs", piece, key));
    require(equals != piece.npos, fmt::format("{} has no value", key));
    values.push_back(piece.substr(equals + 1));
    begin = end + 1;
  }
  require(begin > query.size(), "the query has more than it should");
  return values;
}

void requireDecimal(std::string_view text, std::string_view key) {
  const auto digits = text.substr(text.starts_with('-') ? 1 : 0);
  require(!digits.empty() && digits.find_first_not_of("0123456789") == digits.npos,
          fmt::format("{} is not a decimal number", key));
}

bool isPercentEncoded(std::string_view text) {
  constexpr std::string_view kDigits = "0123456789ABCDEFabcdef";
  for (auto at = text.find('%'); at != text.npos; at = text.find('%', at + 1)) {
    const auto digits = text.substr(at + 1, 2);
    if (digits.size() < 2 || digits.find_first_not_of(kDigits) != digits.npos) return false;
  }
  return true;
}

void requireNoBody(const HttpRequest& request) {
  require(request.body.empty(), "there should be no body");
}

boost::json::object readObject(const HttpRequest& request, Verdict& verdict) {
  require(!request.body.empty(), "no body");
  require(request.body.size() <= kMaxObject, fmt::format("the body is larger than {} bytes", kMaxObject));
  auto object = json::parseObject(request.body);
  require(object.has_value(), "the body is not a JSON object");
  verdict.body = json::text(*object);
  const auto* number = json::find(*object, "_qzno");
  require(number && (number->is_int64() || number->is_uint64()), "_qzno is missing or no whole number");
  return std::move(*object);
}

void checkToken(const HttpRequest& request, Verdict& verdict, const PayloadReader::Take&) {
  const auto values = queryValues(verdict.query, {"_qzno", "_wPkg"});
  requireDecimal(values[0], "_qzno");
  require(!values[1].empty(), "_wPkg is empty");
  requireNoBody(request);
}

void checkUpload(const HttpRequest& request, Verdict& verdict, const PayloadReader::Take& take) {
  PayloadReader reader(take);
  decodeUpload(request.body, [&reader](std::string_view piece) { reader.append(piece); });
  reader.finish();
  verdict.body = std::move(reader).take();
  require(verdict.query.empty(), "there should be no query");
}

void checkErrorLog(const HttpRequest& request, Verdict& verdict, const PayloadReader::Take&) {
  const auto params = readObject(request, verdict);
  require(verdict.query.empty(), "there should be no query");
  const auto* text = json::find(params, "errlog");
  require(text && text->is_string(), "errlog is missing or no string");
}

void checkPushClick(const HttpRequest& request, Verdict& verdict, const PayloadReader::Take&) {
  const auto values = queryValues(verdict.query, {"profileNo", "pushNo", "platform", "pushToken", "adid", "pushSk"});
  requireDecimal(values[0], "profileNo");
  require(values[2] == "IOS", "platform is not IOS");
  require(values[3] == wire::kNull || isPercentEncoded(values[3]), "pushToken is not percent-encoded");
  requireNoBody(request);
}

void checkFingerprint(const HttpRequest& request, Verdict& verdict, const PayloadReader::Take&) {
  readObject(request, verdict);
  require(verdict.query.empty(), "there should be no query");
}

void checkLookUp(const HttpRequest& request, Verdict& verdict, const PayloadReader::Take&) {
  require(!queryValues(verdict.query, {"bundleId"})[0].empty(), "bundleId is empty");
  requireNoBody(request);
}

struct Rule {
  Endpoint endpoint;
  wire::Endpoint contract;
  /// The header, made with openssl rather than with the library's own cipher.
  std::string_view authType;
  Check check;
};

constexpr Rule kRules[] = {
    {Endpoint::token, wire::kToken, "xSJkzK+uVUUzG+q0e24gEg==", checkToken},
    {Endpoint::upload, wire::kUpload, "PjhPhqxo8cd84LGpyhkIZA==", checkUpload},
    {Endpoint::errorlog, wire::kErrorLog, "PjhPhqxo8cd84LGpyhkIZA==", checkErrorLog},
    {Endpoint::pushclick, wire::kPushClick, "PjhPhqxo8cd84LGpyhkIZA==", checkPushClick},
    {Endpoint::fingerprint, wire::kFingerprint, "WX2aT/3XDTuJzTj+gpbyAw==", checkFingerprint},
    {Endpoint::appstore, wire::kAppStoreLookup, "", checkLookUp},
};

void checkUserAgent(const HttpRequest& request, Endpoint endpoint) {
  const auto product = fmt::format("{}/{}/", wire::kUserAgentProduct, kSdkVersion);
  const auto* agent = find(request, wire::kUserAgent);
  require(agent && !agent->empty(), "no User-Agent");
  // The start-up's fingerprint request comes out of a web view, with the name of that.
  if (endpoint == Endpoint::fingerprint && !agent->starts_with(wire::kUserAgentProduct)) return;
  require(agent->starts_with(product), fmt::format("User-Agent \"{}\" does not begin with {}", *agent, product));
  const auto rest = std::string_view(*agent).substr(product.size());
  const auto slash = rest.find('/');
  require(slash != 0 && slash != rest.npos && slash + 1 < rest.size(),
          fmt::format("User-Agent \"{}\" does not name a model and a system", *agent));
}

void checkContentType(const HttpRequest& request, Endpoint endpoint) {
  const auto* type = find(request, wire::kContentType);
  if (endpoint == Endpoint::upload) {
    require(type && *type == wire::kUploadContentType, "Content-Type is not application/octet-stream");
  } else {
    // Some HTTP clients put their default on every POST.
    require(!type || *type == "application/x-www-form-urlencoded", "there should be no Content-Type");
  }
}

void checkHeaders(const HttpRequest& request, const Rule& rule) {
  require(!find(request, "Content-Encoding"), "there should be no Content-Encoding");
  if (rule.contract.authWord.empty()) return;
  const auto* auth = find(request, wire::kAuthType);
  require(auth, "no authType");
  require(*auth == rule.authType, fmt::format("authType is not the one for {}", rule.contract.authWord));
  require(rule.contract.carriesToken || !find(request, wire::kAuthToken), "there should be no authToken");
  checkUserAgent(request, rule.endpoint);
  if (rule.contract.method == "POST") checkContentType(request, rule.endpoint);
  if (rule.endpoint == Endpoint::upload) require(!find(request, "Cookie"), "there should be no Cookie");
}

}  // namespace

wire::Endpoint contract(Endpoint endpoint) noexcept {
  const auto* rule =
      std::find_if(std::begin(kRules), std::end(kRules), [&](const Rule& known) { return known.endpoint == endpoint; });
  return rule == std::end(kRules) ? wire::Endpoint() : rule->contract;
}

std::string_view path(Endpoint endpoint) noexcept {
  return contract(endpoint).path;
}

Verdict judge(const HttpRequest& request, const PayloadReader::Take& take) {
  Verdict verdict;
  const auto question = std::min(request.target.find('?'), request.target.size());
  verdict.path = request.target.substr(0, question);
  verdict.query = request.target.substr(std::min(question + 1, request.target.size()));
  const auto* rule = std::find_if(std::begin(kRules), std::end(kRules),
                                  [&](const Rule& known) { return known.contract.path == verdict.path; });
  if (rule != std::end(kRules)) verdict.endpoint = rule->endpoint;
  const auto blame = [&](int status, std::string problem) {
    verdict.status = status;
    verdict.problem = std::move(problem);
  };
  if (!request.problem.empty()) {
    blame(request.status, request.problem);
  } else if (rule == std::end(kRules)) {
    blame(404, "nothing is served at this path");
  } else if (request.method != rule->contract.method) {
    blame(400, fmt::format("the method is {}, not {}", request.method, rule->contract.method));
  } else {
    try {
      // The body goes first, so that the record shows it whatever the headers are like.
      rule->check(request, verdict, take);
      checkHeaders(request, *rule);
    } catch (const Fault& fault) {
      blame(400, fault.what());
    }
  }
  return verdict;
}

}  // namespace zul::collector
