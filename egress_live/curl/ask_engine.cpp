#include "egress_live/ask_engine.h"

#include <algorithm>
#include <string_view>
#include <sys/un.h>
#include <utility>
#include <variant>

#include "egress/core/diagnosis.h"
#include "egress_live/curl/engine_client.h"
#include "egress_live/curl/engine_url.h"
#include "egress_live/curl/query_outcome.h"
#include "egress_snapshot/diagnose_snapshot.h"

namespace egress::live {
namespace {

using snapshot::HostSnapshot;

// Why a header cannot be sent. Nothing of its text is repeated.
std::optional<std::string> problemOfHeader(const std::string& header) {
  constexpr std::string_view kLineBreaks("\r\n\0", 3);
  if (header.find_first_of(kLineBreaks) != std::string::npos) {
    return "has a line break or a NUL byte";
  }
  const std::size_t colon = header.find(':');
  if (colon == std::string::npos) return "has no ':'; it must be NAME: VALUE";
  const bool hasName = colon > 0 && header.find_first_of(" \t;") >= colon;
  if (!hasName) return "has no valid name before its ':'";
  return std::nullopt;
}

std::optional<std::string> problemOfHeaders(const std::vector<std::string>& headers) {
  for (std::size_t i = 0; i < headers.size(); ++i) {
    const auto problem = problemOfHeader(headers[i]);
    if (problem) return "header " + std::to_string(i + 1) + " " + *problem;
  }
  return std::nullopt;
}

std::optional<std::string> problemOfUnixSocket(const std::string& path) {
  if (path.find('\0') != std::string::npos) return "the path of the Unix socket has a NUL byte";
  constexpr std::size_t kMaxPathBytes = sizeof(sockaddr_un{}.sun_path) - 1;
  if (path.size() <= kMaxPathBytes) return std::nullopt;
  return "the path of the Unix socket has more than " + std::to_string(kMaxPathBytes) + " bytes";
}

// Connections to a loopback address that is mapped to IPv6 are over IPv4.
std::string withoutMapping(const std::string& loopback) {
  const NumericAddress parsed = parseNumericAddress(loopback);
  constexpr std::size_t kMapped = 12;  // bytes before the IPv4 address
  if (parsed.family == 4 || parsed.bytes[kMapped] == 0) return loopback;  // or ::1
  std::string text;
  for (std::size_t i = kMapped; i < parsed.bytes.size(); ++i) {
    if (!text.empty()) text += '.';
    text += std::to_string(parsed.bytes.at(i));
  }
  return text;
}

// The selector whose choice the walk needs next, unless an answer says that there is none.
std::optional<std::string> selectorToAsk(const HostSnapshot& snapshot) {
  const Resolution way = snapshot::diagnoseWay(snapshot).resolution;
  if (way.status != ActiveEndpointStatus::SELECTOR_TRANSPORT_FAILED) return std::nullopt;
  const bool isKnown =
      std::ranges::find(snapshot.selectorAnswers, way.soughtTag, &SelectorAnswer::selectorTag) !=
      snapshot.selectorAnswers.end();
  return isKnown ? std::nullopt : std::optional(way.soughtTag);
}

void addResult(const std::string& tag, QueryResult result, HostSnapshot& snapshot) {
  snapshot::SelectorQuery& query = snapshot.queries.emplace_back();
  query = {.selectorTag = tag, .outcome = result.outcome, .reason = std::move(result.reason)};
  SelectorAnswer& answer = snapshot.selectorAnswers.emplace_back();
  answer = {
      .selectorTag = tag, .status = answerStatusOf(result.outcome), .now = std::move(result.now)};
}

}  // namespace

std::optional<std::string> problemOf(const EngineAccess& access) {
  const auto read = readEngineUrl(access.urlTemplate);
  if (const auto* const problem = std::get_if<std::string>(&read)) return *problem;
  const auto& url = std::get<EngineUrl>(read);
  if (!url.hasTagPlace) return "the path and the query of the URL have no {tag}";
  const bool isLocal = !access.unixSocketPath.empty() || isLocalName(url.host) ||
                       isLoopback(parseNumericAddress(url.host));
  if (!isLocal && !access.mayLeaveHost) {
    return originOf(url) +
           " is neither a loopback address nor localhost, and no other host may be asked";
  }
  if (auto problem = problemOfUnixSocket(access.unixSocketPath)) return problem;
  return problemOfHeaders(access.headers);
}

std::optional<Listener> listenerOf(const EngineAccess& access) {
  Listener listener;
  listener.unixSocketPath = access.unixSocketPath;
  if (!access.unixSocketPath.empty()) return listener;
  const auto read = readEngineUrl(access.urlTemplate);
  const auto* const url = std::get_if<EngineUrl>(&read);
  if (url == nullptr) return std::nullopt;
  listener.port = url->port;
  if (isLocalName(url->host)) return listener;
  if (!isLoopback(parseNumericAddress(url->host))) return std::nullopt;
  listener.address = withoutMapping(url->host);
  return listener;
}

void askSelectors(const EngineAccess& access, HostSnapshot& snapshot) {
  std::optional<std::string> tag = selectorToAsk(snapshot);
  if (!tag) return;
  if (auto problem = problemOf(access)) {
    addResult(*tag, {.reason = std::move(*problem)}, snapshot);
    return;
  }
  const EngineUrl url = std::get<EngineUrl>(readEngineUrl(access.urlTemplate));
  EngineClient client(access, url);
  for (std::size_t queries = 0; tag && queries <= kMaxFollowSteps; ++queries) {
    addResult(*tag, client.ask(*tag), snapshot);
    tag = selectorToAsk(snapshot);
  }
}

}  // namespace egress::live
