#ifndef EGRESS_CORE_STATUS_WORDS_H
#define EGRESS_CORE_STATUS_WORDS_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "egress/export.h"

namespace egress {

// The closed vocabularies of the report. Each enumerator is spelled like its word; numbers are
// fixed but never exported. The last word of each vocabulary is its catch-all.

enum class ConfigStatus : std::uint32_t {
  OK,
  NO_CONFIG,            // no text, or an empty one
  JSON_PARSE_FAILED,    // not JSON, or its root is not an object
  AUTO_DETECT_MISSING,  // no "route" object, or no "auto_detect_interface" in it
  AUTO_DETECT_INVALID,  // "auto_detect_interface" is not a boolean
};

enum class EgressSelectionPolicy : std::uint32_t {
  singbox_auto_detect,  // the engine picks the interface itself
  os_routed,            // the operating system's routes decide
  unknown,              // the configuration could not be used
};

enum class ActiveEndpointStatus : std::uint32_t {
  OK,
  NOT_EVALUATED_CONFIG_UNAVAILABLE,
  SELECTOR_TRANSPORT_FAILED,    // a selector on the walk has no answer
  SELECTOR_RESPONSE_MALFORMED,  // its answer is not a JSON object
  SELECTOR_NOW_MISSING,         // its answer names no choice
  SELECTOR_CYCLE,               // its choice was already visited
  SELECTOR_DEPTH_EXCEEDED,      // its choice would be one follow too many
  DETOUR_CYCLE,
  DETOUR_DEPTH_EXCEEDED,
  OUTBOUND_NOT_FOUND,           // no outbound has the tag that comes next
  LEAF_HAS_NO_REMOTE_ENDPOINT,  // outbounds of the leaf's type have no endpoint
  ENDPOINT_MISSING,             // no server, or no port at all
  ENDPOINT_INVALID,             // no usable port
  ENDPOINT_NOT_NUMERIC,         // the server is not a literal address
  ENDPOINT_NOT_SINGLETON,       // more than one port
  TRANSPORT_UNSUPPORTED,        // known, but its sockets cannot be followed
  TRANSPORT_UNKNOWN,
};

enum class SelectionStatus : std::uint32_t {
  OK,
  NOT_APPLICABLE_OS_ROUTED,
  NOT_EVALUATED_ENDPOINT_UNAVAILABLE,
  NOT_EVALUATED_SOCKET_ENUM_FAILED,
  NOT_EVALUATED_ADAPTER_ENUM_FAILED,
  NO_MATCHING_SOCKET,                   // no socket goes to the endpoint
  SOCKET_SOURCE_ADDRESS_UNMAPPED,       // no adapter owns a source address
  PARTIAL_SOCKET_SOURCE_MAPPING,        // adapters own only some of the source addresses
  MULTIPLE_MATCHING_SOCKET_INTERFACES,  // the sockets leave through several interfaces
  ADDRESS_INTERFACE_AMBIGUOUS,          // several interfaces own one source address
};

enum class InterfacesStatus : std::uint32_t { OK, ADAPTER_ENUM_FAILED };

enum class DefaultRoutesStatus : std::uint32_t {
  OK,
  ROUTE_ENUM_FAILED,
  SNAPSHOT_INCONSISTENT,  // no adapter row has the interface of a route
};

enum class SocketSourcesStatus : std::uint32_t { OK, SOCKET_ENUM_FAILED };

enum class InterfaceOrdinalStatus : std::uint32_t { OK, ROUTE_INTERFACE_UNMAPPED };

// The exported word of a status: constant text, never null. A value outside the enumeration gives
// the vocabulary's last word.
[[nodiscard]] EGRESS_EXPORT const char* toString(ConfigStatus status) noexcept;
[[nodiscard]] EGRESS_EXPORT const char* toString(EgressSelectionPolicy policy) noexcept;
[[nodiscard]] EGRESS_EXPORT const char* toString(ActiveEndpointStatus status) noexcept;
[[nodiscard]] EGRESS_EXPORT const char* toString(SelectionStatus status) noexcept;
[[nodiscard]] EGRESS_EXPORT const char* toString(InterfacesStatus status) noexcept;
[[nodiscard]] EGRESS_EXPORT const char* toString(DefaultRoutesStatus status) noexcept;
[[nodiscard]] EGRESS_EXPORT const char* toString(SocketSourcesStatus status) noexcept;
[[nodiscard]] EGRESS_EXPORT const char* toString(InterfaceOrdinalStatus status) noexcept;

// All words that the report may hold under a key, in the order of their numbers. Each list is made
// on the first call, also if several threads make it at once, and lives until the process ends.
// Throws only when memory runs out on that first call; the next call then tries again.
using WordList = std::vector<std::string>;
[[nodiscard]] EGRESS_EXPORT const WordList& declaredConfigStatus();
[[nodiscard]] EGRESS_EXPORT const WordList& declaredEgressSelectionPolicy();
[[nodiscard]] EGRESS_EXPORT const WordList& declaredActiveEndpointStatus();
[[nodiscard]] EGRESS_EXPORT const WordList& declaredSelectionStatus();
[[nodiscard]] EGRESS_EXPORT const WordList& declaredInterfacesStatus();
[[nodiscard]] EGRESS_EXPORT const WordList& declaredDefaultRoutesStatus();
[[nodiscard]] EGRESS_EXPORT const WordList& declaredSocketSourcesStatus();
[[nodiscard]] EGRESS_EXPORT const WordList& declaredInterfaceOrdinalStatus();

// The inverse of toString: the enumerator with exactly this word, or nothing. Throws like the
// declared lists, which they search.
[[nodiscard]] EGRESS_EXPORT std::optional<ConfigStatus> parseConfigStatus(std::string_view word);
[[nodiscard]] EGRESS_EXPORT std::optional<EgressSelectionPolicy> parseEgressSelectionPolicy(
    std::string_view word);
[[nodiscard]] EGRESS_EXPORT std::optional<ActiveEndpointStatus> parseActiveEndpointStatus(
    std::string_view word);
[[nodiscard]] EGRESS_EXPORT std::optional<SelectionStatus> parseSelectionStatus(
    std::string_view word);
[[nodiscard]] EGRESS_EXPORT std::optional<InterfacesStatus> parseInterfacesStatus(
    std::string_view word);
[[nodiscard]] EGRESS_EXPORT std::optional<DefaultRoutesStatus> parseDefaultRoutesStatus(
    std::string_view word);
[[nodiscard]] EGRESS_EXPORT std::optional<SocketSourcesStatus> parseSocketSourcesStatus(
    std::string_view word);
[[nodiscard]] EGRESS_EXPORT std::optional<InterfaceOrdinalStatus> parseInterfaceOrdinalStatus(
    std::string_view word);

}  // namespace egress

#endif
