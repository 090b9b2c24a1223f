#include "egress/core/status_words.h"

#include <algorithm>
#include <limits>

namespace egress {

// Each switch is the only table of its vocabulary. It has no default, so that the compiler reports
// an enumerator without a word. The last enumerator breaks to the word of all values outside the
// enumeration.

const char* toString(ConfigStatus status) noexcept {
  using enum ConfigStatus;
  switch (status) {
    case OK: return "OK";
    case NO_CONFIG: return "NO_CONFIG";
    case JSON_PARSE_FAILED: return "JSON_PARSE_FAILED";
    case AUTO_DETECT_MISSING: return "AUTO_DETECT_MISSING";
    case AUTO_DETECT_INVALID: break;
  }
  return "AUTO_DETECT_INVALID";
}

const char* toString(EgressSelectionPolicy policy) noexcept {
  using enum EgressSelectionPolicy;
  switch (policy) {
    case singbox_auto_detect: return "singbox_auto_detect";
    case os_routed: return "os_routed";
    case unknown: break;
  }
  return "unknown";
}

const char* toString(ActiveEndpointStatus status) noexcept {
  using enum ActiveEndpointStatus;
  switch (status) {
    case OK: return "OK";
    case NOT_EVALUATED_CONFIG_UNAVAILABLE: return "NOT_EVALUATED_CONFIG_UNAVAILABLE";
    case SELECTOR_TRANSPORT_FAILED: return "SELECTOR_TRANSPORT_FAILED";
    case SELECTOR_RESPONSE_MALFORMED: return "SELECTOR_RESPONSE_MALFORMED";
    case SELECTOR_NOW_MISSING: return "SELECTOR_NOW_MISSING";
    case SELECTOR_CYCLE: return "SELECTOR_CYCLE";
    case SELECTOR_DEPTH_EXCEEDED: return "SELECTOR_DEPTH_EXCEEDED";
    case DETOUR_CYCLE: return "DETOUR_CYCLE";
    case DETOUR_DEPTH_EXCEEDED: return "DETOUR_DEPTH_EXCEEDED";
    case OUTBOUND_NOT_FOUND: return "OUTBOUND_NOT_FOUND";
    case LEAF_HAS_NO_REMOTE_ENDPOINT: return "LEAF_HAS_NO_REMOTE_ENDPOINT";
    case ENDPOINT_MISSING: return "ENDPOINT_MISSING";
    case ENDPOINT_INVALID: return "ENDPOINT_INVALID";
    case ENDPOINT_NOT_NUMERIC: return "ENDPOINT_NOT_NUMERIC";
    case ENDPOINT_NOT_SINGLETON: return "ENDPOINT_NOT_SINGLETON";
    case TRANSPORT_UNSUPPORTED: return "TRANSPORT_UNSUPPORTED";
    case TRANSPORT_UNKNOWN: break;
  }
  return "TRANSPORT_UNKNOWN";
}

const char* toString(SelectionStatus status) noexcept {
  using enum SelectionStatus;
  switch (status) {
    case OK: return "OK";
    case NOT_APPLICABLE_OS_ROUTED: return "NOT_APPLICABLE_OS_ROUTED";
    case NOT_EVALUATED_ENDPOINT_UNAVAILABLE: return "NOT_EVALUATED_ENDPOINT_UNAVAILABLE";
    case NOT_EVALUATED_SOCKET_ENUM_FAILED: return "NOT_EVALUATED_SOCKET_ENUM_FAILED";
    case NOT_EVALUATED_ADAPTER_ENUM_FAILED: return "NOT_EVALUATED_ADAPTER_ENUM_FAILED";
    case NO_MATCHING_SOCKET: return "NO_MATCHING_SOCKET";
    case SOCKET_SOURCE_ADDRESS_UNMAPPED: return "SOCKET_SOURCE_ADDRESS_UNMAPPED";
    case PARTIAL_SOCKET_SOURCE_MAPPING: return "PARTIAL_SOCKET_SOURCE_MAPPING";
    case MULTIPLE_MATCHING_SOCKET_INTERFACES: return "MULTIPLE_MATCHING_SOCKET_INTERFACES";
    case ADDRESS_INTERFACE_AMBIGUOUS: break;
  }
  return "ADDRESS_INTERFACE_AMBIGUOUS";
}

const char* toString(InterfacesStatus status) noexcept {
  using enum InterfacesStatus;
  switch (status) {
    case OK: return "OK";
    case ADAPTER_ENUM_FAILED: break;
  }
  return "ADAPTER_ENUM_FAILED";
}

const char* toString(DefaultRoutesStatus status) noexcept {
  using enum DefaultRoutesStatus;
  switch (status) {
    case OK: return "OK";
    case ROUTE_ENUM_FAILED: return "ROUTE_ENUM_FAILED";
    case SNAPSHOT_INCONSISTENT: break;
  }
  return "SNAPSHOT_INCONSISTENT";
}

const char* toString(SocketSourcesStatus status) noexcept {
  using enum SocketSourcesStatus;
  switch (status) {
    case OK: return "OK";
    case SOCKET_ENUM_FAILED: break;
  }
  return "SOCKET_ENUM_FAILED";
}

const char* toString(InterfaceOrdinalStatus status) noexcept {
  using enum InterfaceOrdinalStatus;
  switch (status) {
    case OK: return "OK";
    case ROUTE_INTERFACE_UNMAPPED: break;
  }
  return "ROUTE_INTERFACE_UNMAPPED";
}

namespace {

// A vocabulary's words by ascending number. The catch-all is the last one, so the list ends there.
template <typename Status>
WordList declaredWords() {
  const std::string_view catchAll = toString(Status{std::numeric_limits<std::uint32_t>::max()});
  WordList words;
  for (std::uint32_t number = 0; words.empty() || words.back() != catchAll; ++number) {
    words.emplace_back(toString(Status{number}));
  }
  return words;
}

// The number of a word is its position in the declared list.
template <typename Status>
std::optional<Status> parseWord(const WordList& declared, std::string_view word) {
  const auto found = std::ranges::find(declared, word);
  if (found == declared.end()) return std::nullopt;
  return static_cast<Status>(found - declared.begin());
}

}  // namespace

const WordList& declaredConfigStatus() {
  static const WordList words = declaredWords<ConfigStatus>();
  return words;
}

const WordList& declaredEgressSelectionPolicy() {
  static const WordList words = declaredWords<EgressSelectionPolicy>();
  return words;
}

const WordList& declaredActiveEndpointStatus() {
  static const WordList words = declaredWords<ActiveEndpointStatus>();
  return words;
}

const WordList& declaredSelectionStatus() {
  static const WordList words = declaredWords<SelectionStatus>();
  return words;
}

const WordList& declaredInterfacesStatus() {
  static const WordList words = declaredWords<InterfacesStatus>();
  return words;
}

const WordList& declaredDefaultRoutesStatus() {
  static const WordList words = declaredWords<DefaultRoutesStatus>();
  return words;
}

const WordList& declaredSocketSourcesStatus() {
  static const WordList words = declaredWords<SocketSourcesStatus>();
  return words;
}

const WordList& declaredInterfaceOrdinalStatus() {
  static const WordList words = declaredWords<InterfaceOrdinalStatus>();
  return words;
}

std::optional<ConfigStatus> parseConfigStatus(std::string_view word) {
  return parseWord<ConfigStatus>(declaredConfigStatus(), word);
}

std::optional<EgressSelectionPolicy> parseEgressSelectionPolicy(std::string_view word) {
  return parseWord<EgressSelectionPolicy>(declaredEgressSelectionPolicy(), word);
}

std::optional<ActiveEndpointStatus> parseActiveEndpointStatus(std::string_view word) {
  return parseWord<ActiveEndpointStatus>(declaredActiveEndpointStatus(), word);
}

std::optional<SelectionStatus> parseSelectionStatus(std::string_view word) {
  return parseWord<SelectionStatus>(declaredSelectionStatus(), word);
}

std::optional<InterfacesStatus> parseInterfacesStatus(std::string_view word) {
  return parseWord<InterfacesStatus>(declaredInterfacesStatus(), word);
}

std::optional<DefaultRoutesStatus> parseDefaultRoutesStatus(std::string_view word) {
  return parseWord<DefaultRoutesStatus>(declaredDefaultRoutesStatus(), word);
}

std::optional<SocketSourcesStatus> parseSocketSourcesStatus(std::string_view word) {
  return parseWord<SocketSourcesStatus>(declaredSocketSourcesStatus(), word);
}

std::optional<InterfaceOrdinalStatus> parseInterfaceOrdinalStatus(std::string_view word) {
  return parseWord<InterfaceOrdinalStatus>(declaredInterfaceOrdinalStatus(), word);
}

}  // namespace egress
