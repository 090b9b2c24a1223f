#include "apps/report/culprit.h"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <optional>
#include <set>
#include <system_error>
#include <vector>

#include "apps/report/text.h"
#include "egress/config/protocols.h"
#include "egress/json/json_fault.h"
#include "egress_snapshot/json_fault_json.h"

namespace egress::report {
namespace {

Culprit configCulprit(const Finding& finding) {
  switch (finding.diagnosis().configStatus) {
    case ConfigStatus::OK: break;  // not a culprit
    case ConfigStatus::NO_CONFIG:
      return {"there is no configuration, or it is empty",
              "Name the engine's configuration with --config FILE"};
    case ConfigStatus::JSON_PARSE_FAILED:
      if (finding.configFault.empty()) {
        return {"the configuration is not a JSON object", "Check the file of --config"};
      }
      return {"the configuration is not JSON: " + finding.configFault,
              "Correct the configuration there"};
    case ConfigStatus::AUTO_DETECT_MISSING:
      return {"the configuration has no key route.auto_detect_interface",
              "Add it to the configuration: true if the engine selects the interface itself, "
              "otherwise false"};
    case ConfigStatus::AUTO_DETECT_INVALID: break;
  }
  return {"route.auto_detect_interface in the configuration is not true or false",
          "Set it to true or false"};
}

const char* remedyFor(snapshot::QueryOutcome outcome) {
  using enum snapshot::QueryOutcome;
  switch (outcome) {
    case REFUSED: return "Start the engine, or correct --ask";
    case TIMED_OUT: return "Check that the engine runs, or give it longer with --ask-timeout";
    case BAD_CERTIFICATE: return "Name the engine's certificate with --ask-ca";
    case UNAUTHORIZED: return "Name the file with the engine's credential with --ask-header-file";
    case NOT_FOUND: return "Check that --ask and the configuration are of the same engine";
    case ANSWERED:  // not a culprit
    case NAME_NOT_FOUND:
    case BAD_STATUS:
    case TOO_LARGE:
    case NOT_JSON:
    case NO_NOW:
    case FAILED: break;
  }
  return "Correct --ask";
}

// The answer that the walk stopped for; `before` and `after` are the problem around its tag.
Culprit selectorCulprit(const Finding& finding, const char* before, const char* after) {
  const std::string& tag = finding.diagnosis().resolution.soughtTag;
  const auto& queries = finding.snapshot.queries;
  const auto query = std::ranges::find(queries, tag, &snapshot::SelectorQuery::selectorTag);
  if (query == queries.end()) {
    return {before + quoted(tag) + after,
            "Ask the engine with --ask URL, or name its answer with --answer TAG=FILE"};
  }
  const std::string reason = query->reason.empty() ? "" : ": " + readable(query->reason);
  return {"the engine did not tell the choice of the selector " + quoted(tag) + reason,
          remedyFor(query->outcome)};
}

Culprit walkCulprit(const Finding& finding, const char* kind, bool isCycle) {
  const Resolution& resolution = finding.diagnosis().resolution;
  const std::string last = resolution.visitedTags.empty() ? "" : resolution.visitedTags.back();
  const std::string step = std::string("the ") + kind + " of the outbound " + quoted(last) +
                           " leads to " + quoted(resolution.soughtTag);
  if (isCycle) {
    return {step + ", where the way has been before", "Remove the cycle from the configuration"};
  }
  return {
      step + ", one step more than the " + std::to_string(kMaxFollowSteps) + " that are followed",
      "Shorten the chain of selectors and detours"};
}

// Up to ten tags that could be meant, with their types.
std::string possibleTagsText(const Finding& finding) {
  constexpr std::size_t kShown = 10;
  std::vector<std::string> tags;
  for (const std::string& tag : finding.possibleMainTags) {
    if (tags.size() == kShown) {
      tags.push_back(std::to_string(finding.possibleMainTags.size() - kShown) + " more");
      break;
    }
    tags.push_back(quoted(tag));
  }
  return enumeration(tags);
}

Culprit missingOutbound(const Finding& finding) {
  const Resolution& resolution = finding.diagnosis().resolution;
  const std::string what = "no outbound has the tag " + quoted(resolution.soughtTag);
  if (!resolution.visitedTags.empty()) {
    return {what + ", to which " + quoted(resolution.visitedTags.back()) + " leads",
            "Check that the answers and the configuration are of the same engine"};
  }
  std::string todo = "Name the main outbound with --main TAG";
  if (!finding.possibleMainTags.empty()) {
    todo += ". No other outbound leads to " + possibleTagsText(finding);
  }
  return {what, todo};
}

// The last outbound of the walk.
const Outbound& leafOf(const Finding& finding) {
  return finding.snapshot.config.outbounds.at(finding.diagnosis().resolution.leaf.value());
}

std::string outboundText(const Outbound& leaf) {
  return "the outbound " + quoted(leaf.tag);
}

Culprit noRemoteEndpoint(const Outbound& leaf) {
  return {outboundText(leaf) + " of type " + quoted(leaf.type) + " has no server",
          "Select an outbound with a server"};
}

Culprit missingEndpoint(const Outbound& leaf) {
  const std::string key = !leaf.hasServer || leaf.server.empty() ? "server" : "server_port";
  return {outboundText(leaf) + " has no " + key, "Add " + key + " to it in the configuration"};
}

Culprit invalidPort(const Outbound& leaf) {
  return {"server_port of " + outboundText(leaf) + " is not a port from 1 to 65535",
          "Correct server_port in the configuration"};
}

// Where the engine has sockets to this port, up to five addresses.
std::string addressesAtPort(const Finding& finding, std::uint32_t port) {
  constexpr std::size_t kShown = 5;
  std::set<std::string> addresses;
  for (const snapshot::Socket& row : finding.snapshot.sockets.rows) {
    if (row.remotePort == port) addresses.insert(readable(row.remoteAddress));
    if (addresses.size() > kShown) break;
  }
  const bool areMore = addresses.size() > kShown;
  if (areMore) addresses.erase(std::prev(addresses.end()));
  std::vector<std::string> shown(addresses.begin(), addresses.end());
  if (areMore) shown.emplace_back("others");
  return enumeration(shown);
}

Culprit serverByName(const Finding& finding) {
  const Outbound& leaf = leafOf(finding);
  const std::string what =
      "server of " + outboundText(leaf) + " is " + quoted(leaf.server) + ", not an address";
  for (const snapshot::MissingFact& missing : finding.snapshot.missingFacts) {
    if (missing.fact != snapshot::FactKind::ADDRESS) continue;
    return {what + (missing.reason.empty() ? "" : "; " + readable(missing.reason)),
            "Name its address with --resolve NAME=ADDRESS"};
  }
  std::string todo = "Add --resolve NAME=ADDRESS, or --resolve system";
  const std::uint32_t port = leaf.ports.size() == 1 ? leaf.ports.front() : 0;
  const std::string addresses = addressesAtPort(finding, port);
  if (!addresses.empty()) {
    todo += ". The engine has sockets to port " + std::to_string(port) + " of " + addresses;
  }
  return {what, todo};
}

Culprit severalPorts(const Outbound& leaf) {
  return {outboundText(leaf) + " has more than one port",
          "Name a copy of the configuration in which it has the port in use"};
}

// The type comes before the transport.
std::string transportText(const Outbound& leaf) {
  const bool isTransport = outboundTypeOf(leaf.type) == OutboundType::Supported;
  return (isTransport ? "the transport " + quoted(leaf.transportType)
                      : "the type " + quoted(leaf.type)) +
         " of " + outboundText(leaf);
}

Culprit unsupportedTransport(const Outbound& leaf) {
  return {transportText(leaf) + " runs over QUIC, whose sockets cannot be followed", {}};
}

Culprit unknownTransport(const Outbound& leaf) {
  return {transportText(leaf) + " is not known", "Check its spelling in the configuration"};
}

}  // namespace

Culprit endpointCulprit(const Finding& finding) {
  using enum ActiveEndpointStatus;
  switch (finding.diagnosis().endpoint.status) {
    case OK: break;  // not a culprit
    case NOT_EVALUATED_CONFIG_UNAVAILABLE: return configCulprit(finding);
    case SELECTOR_TRANSPORT_FAILED:
      return selectorCulprit(finding, "there is no answer of the selector ", "");
    case SELECTOR_RESPONSE_MALFORMED:
      return selectorCulprit(finding, "the answer of the selector ", " is not a JSON object");
    case SELECTOR_NOW_MISSING:
      return selectorCulprit(finding, "the answer of the selector ", R"( has no text under "now")");
    case SELECTOR_CYCLE: return walkCulprit(finding, "choice", /*isCycle=*/true);
    case SELECTOR_DEPTH_EXCEEDED: return walkCulprit(finding, "choice", /*isCycle=*/false);
    case DETOUR_CYCLE: return walkCulprit(finding, "detour", /*isCycle=*/true);
    case DETOUR_DEPTH_EXCEEDED: return walkCulprit(finding, "detour", /*isCycle=*/false);
    case OUTBOUND_NOT_FOUND: return missingOutbound(finding);
    case LEAF_HAS_NO_REMOTE_ENDPOINT: return noRemoteEndpoint(leafOf(finding));
    case ENDPOINT_MISSING: return missingEndpoint(leafOf(finding));
    case ENDPOINT_INVALID: return invalidPort(leafOf(finding));
    case ENDPOINT_NOT_NUMERIC: return serverByName(finding);
    case ENDPOINT_NOT_SINGLETON: return severalPorts(leafOf(finding));
    case TRANSPORT_UNSUPPORTED: return unsupportedTransport(leafOf(finding));
    case TRANSPORT_UNKNOWN: break;
  }
  return unknownTransport(leafOf(finding));
}

bool isForLackOfPermission(std::string_view failureReason) {
  return failureReason.ends_with(std::generic_category().message(EACCES)) ||
         failureReason.ends_with(std::generic_category().message(EPERM));
}

Culprit listCulprit(const Finding& finding) {
  const snapshot::HostSnapshot& snapshot = finding.snapshot;
  const auto what = [](const char* list, const std::string& reason) {
    return std::string(list) + " cannot be listed" + (reason.empty() ? "" : ": ") +
           readable(reason);
  };
  if (!snapshot.sockets.enumFailed) {
    return {what("the interfaces of this host", snapshot.adapters.failureReason), {}};
  }
  const std::string& reason = snapshot.sockets.failureReason;
  return {what("the sockets of the engine", reason),
          isForLackOfPermission(reason) ? "Run egress-report as root, or as the user of the engine"
                                        : ""};
}

std::string faultOf(std::string_view configText) {
  const std::optional<JsonFault> fault = findJsonFault(configText);
  if (!fault) return {};
  const auto [line, column] = snapshot::positionOf(configText, fault->offset);
  return "line " + std::to_string(line) + ", column " + std::to_string(column) + ": " +
         snapshot::phraseOf(fault->kind);
}

}  // namespace egress::report
