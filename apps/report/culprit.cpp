#include "apps/report/culprit.h"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <optional>
#include <system_error>

#include "apps/report/text.h"
#include "egress/config/protocols.h"
#include "egress/json/json_fault.h"

namespace egress::report {
namespace {

// Text of a stranger, with a limit.
std::string quoted(std::string_view text) {
  constexpr std::size_t kMax = 80;
  return "'" + readable(text.substr(0, kMax)) + (text.size() > kMax ? "...'" : "'");
}

const char* phraseOf(JsonFaultKind kind) {
  switch (kind) {
    using enum JsonFaultKind;
    case END_OF_TEXT: return "the text is cut off";
    case NO_VALUE: return "a value is missing";
    case BAD_LITERAL: return "this is not true, false or null";
    case BAD_NUMBER: return "a digit is missing";
    case BAD_ESCAPE: return "this is not an escape of a string";
    case NO_KEY: return "a key in double quotes is missing";
    case NO_COLON: return "a colon is missing";
    case NO_COMMA: return "a comma or the closing bracket is missing";
    case TOO_DEEP: return "the values are nested too deep";
    case BYTES_AFTER_ROOT: break;
  }
  return "there is more text after the end";
}

Culprit configCulprit(const Finding& finding) {
  switch (finding.diagnosis.configStatus) {
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

Culprit selectorCulprit(const Finding& finding) {
  const std::string selector = quoted(finding.diagnosis.resolution.soughtTag);
  const std::string todo = "Ask the engine which outbound " + selector +
                           " uses now, and name the answer with --answer TAG=FILE";
  switch (finding.diagnosis.endpoint.status) {
    case ActiveEndpointStatus::SELECTOR_RESPONSE_MALFORMED:
      return {"the answer of the selector " + selector + " is not a JSON object", todo};
    case ActiveEndpointStatus::SELECTOR_NOW_MISSING:
      return {"the answer of the selector " + selector + R"( has no text under "now")", todo};
    default: return {"there is no answer of the selector " + selector, todo};
  }
}

Culprit walkCulprit(const Finding& finding, const char* kind, bool isCycle) {
  const Resolution& resolution = finding.diagnosis.resolution;
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

Culprit missingOutbound(const Resolution& resolution) {
  const std::string tag = quoted(resolution.soughtTag);
  if (resolution.visitedTags.empty()) {
    return {"no outbound has the tag " + tag,
            "Give the main outbound the tag " + tag + ", where the way to the endpoint starts"};
  }
  return {"no outbound has the tag " + tag + ", to which " + quoted(resolution.visitedTags.back()) +
              " leads",
          "Check that the answers and the configuration are of the same engine"};
}

Culprit leafCulprit(const Finding& finding, const Outbound& leaf) {
  using enum ActiveEndpointStatus;
  const std::string outbound = "the outbound " + quoted(leaf.tag);
  const auto transportIsCulprit = [&leaf] {
    return outboundTypeOf(leaf.type) == OutboundType::Supported;
  };
  switch (finding.diagnosis.endpoint.status) {
    case LEAF_HAS_NO_REMOTE_ENDPOINT:
      return {outbound + " of type " + quoted(leaf.type) + " has no server",
              "Select an outbound with a server"};
    case ENDPOINT_MISSING: {
      const bool lacksServer = !leaf.hasServer || leaf.server.empty();
      const std::string key = lacksServer ? "server" : "server_port";
      return {outbound + " has no " + key, "Add " + key + " to it in the configuration"};
    }
    case ENDPOINT_INVALID:
      return {"server_port of " + outbound + " is not a port from 1 to 65535",
              "Correct server_port in the configuration"};
    case ENDPOINT_NOT_NUMERIC:
      return {"server of " + outbound + " is " + quoted(leaf.server) + ", not an address",
              "Name a copy of the configuration in which it is the address of the server"};
    case ENDPOINT_NOT_SINGLETON:
      return {outbound + " has more than one port",
              "Name a copy of the configuration in which it has the port in use"};
    case TRANSPORT_UNSUPPORTED:
      return {(transportIsCulprit() ? "the transport " + quoted(leaf.transportType)
                                    : "the type " + quoted(leaf.type)) +
                  " of " + outbound + " runs over QUIC, whose sockets cannot be followed",
              ""};
    default:
      return {(transportIsCulprit() ? "the transport " + quoted(leaf.transportType)
                                    : "the type " + quoted(leaf.type)) +
                  " of " + outbound + " is not known",
              "Check its spelling in the configuration"};
  }
}

}  // namespace

Culprit endpointCulprit(const Finding& finding) {
  using enum ActiveEndpointStatus;
  const Resolution& resolution = finding.diagnosis.resolution;
  switch (finding.diagnosis.endpoint.status) {
    case NOT_EVALUATED_CONFIG_UNAVAILABLE: return configCulprit(finding);
    case SELECTOR_TRANSPORT_FAILED:
    case SELECTOR_RESPONSE_MALFORMED:
    case SELECTOR_NOW_MISSING: return selectorCulprit(finding);
    case SELECTOR_CYCLE: return walkCulprit(finding, "choice", /*isCycle=*/true);
    case SELECTOR_DEPTH_EXCEEDED: return walkCulprit(finding, "choice", /*isCycle=*/false);
    case DETOUR_CYCLE: return walkCulprit(finding, "detour", /*isCycle=*/true);
    case DETOUR_DEPTH_EXCEEDED: return walkCulprit(finding, "detour", /*isCycle=*/false);
    case OUTBOUND_NOT_FOUND: return missingOutbound(resolution);
    default: return leafCulprit(finding, finding.snapshot.config.outbounds.at(*resolution.leaf));
  }
}

std::string remedyFor(std::string_view failureReason) {
  for (const int error : {EACCES, EPERM}) {
    if (failureReason.ends_with(std::generic_category().message(error))) {
      return "run egress-report as root, or as the user of the engine";
    }
  }
  return {};
}

Culprit listCulprit(const Finding& finding) {
  const bool isSockets = finding.snapshot.sockets.enumFailed;
  const std::string& reason =
      isSockets ? finding.snapshot.sockets.failureReason : finding.snapshot.adapters.failureReason;
  Culprit culprit;
  culprit.what = isSockets ? "the sockets of the engine cannot be listed"
                           : "the interfaces of this host cannot be listed";
  if (!reason.empty()) culprit.what += ": " + readable(reason);
  culprit.todo = remedyFor(reason);
  if (!culprit.todo.empty()) culprit.todo.front() = 'R';
  return culprit;
}

std::string faultOf(std::string_view configText) {
  const std::optional<JsonFault> fault = findJsonFault(configText);
  if (!fault) return {};
  const std::string_view before = configText.substr(0, fault->offset);
  const auto line = std::ranges::count(before, '\n') + 1;
  const std::size_t column = before.size() - (before.rfind('\n') + 1) + 1;  // npos + 1 is 0
  return "line " + std::to_string(line) + ", column " + std::to_string(column) + ": " +
         phraseOf(fault->kind);
}

}  // namespace egress::report
