#ifndef EGRESS_SNAPSHOT_CROSS_CHECK_H
#define EGRESS_SNAPSHOT_CROSS_CHECK_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

#include "egress/core/diagnosis.h"
#include "egress_snapshot/export.h"
#include "egress_snapshot/host_snapshot.h"

namespace egress::snapshot {

// The core names the interface that owns the source address of the engine's sockets. Their packets
// may leave through another one: a socket can be bound to a device, and the routes of a system need
// not look at the source address. The cross-check compares the core's answer with what the system
// says about the same sockets.

// If several fit: TRYING and NO_SOCKET come first, then NO_WAY_OUT, DISAGREES and SEVERAL, and then
// UNKNOWN, which only AGREES and SETTLES follow.
enum class CrossCheckStatus : std::uint32_t {
  AGREES,      // the packets of every counted socket leave through the interface the core named
  DISAGREES,   // those of at least one leave through another
  SETTLES,     // the core named none; the packets of every counted socket leave through one
  SEVERAL,     // the core named none; they leave through more than one
  NO_WAY_OUT,  // the system has no route for a counted socket, or its interface is down
  TRYING,      // no counted socket goes to the endpoint, but a connection attempt does
  NO_SOCKET,   // neither a counted socket nor an attempt goes to the endpoint
  UNKNOWN,     // the endpoint or the sockets are unknown, or where one of them leaves
};
inline constexpr auto kCrossCheckStatusWords = std::to_array<std::string_view>(
    {"AGREES", "DISAGREES", "SETTLES", "SEVERAL", "NO_WAY_OUT", "TRYING", "NO_SOCKET", "UNKNOWN"});

// What decided where the packets of a socket leave, the strongest last. Only the strongest that is
// known decides.
enum class Evidence : std::uint32_t {
  NONE,
  BOUND_DEVICE,  // the device that the socket is bound to
  ROUTE,         // the system's route for it, or that it has none
  PACKETS,       // the packets themselves were seen
};
inline constexpr auto kEvidenceWords =
    std::to_array<std::string_view>({"NONE", "BOUND_DEVICE", "ROUTE", "PACKETS"});

// How a socket to the endpoint counts.
enum class SocketRole : std::uint32_t {
  COUNTED,      // for the diagnosis
  TRYING,       // a TCP connection attempt (SYN_SENT)
  NOT_COUNTED,  // a UDP socket, or a connection that has ended
};
inline constexpr auto kSocketRoleWords =
    std::to_array<std::string_view>({"COUNTED", "TRYING", "NOT_COUNTED"});

// One socket to the endpoint: its remote port equals the endpoint's, and its remote address equals
// by value. All interfaces are indexes of the record's adapters. A fact with an index that no
// adapter has is left out, as if it were unknown.
struct CheckedSocket {
  std::size_t row = 0;  // position in HostSnapshot::sockets
  SocketRole role = SocketRole::COUNTED;
  std::vector<std::uint32_t> bySource = {};         // own its source address; ascending
  std::optional<std::uint32_t> byBoundDevice = {};  // that it is bound to
  std::optional<std::uint32_t> byRoute = {};        // that the system's route for it leads through
  std::vector<std::uint32_t> byPackets = {};        // its packets were seen on; ascending
  Evidence decidedBy = Evidence::NONE;

  // What the evidence says; ascending. Of the interfaces that packets were seen on, only that of
  // the route if it is among them: packets of a bridge or a tunnel pass several.
  std::vector<std::uint32_t> leavesThrough = {};

  // By the route or the bound device, no packet can leave: there is no route, or the interface is
  // down (all its rows have an operStatus of RFC 2863 in which no packet passes: down, testing,
  // dormant, notPresent or lowerLayerDown). Then leavesThrough is empty.
  bool hasNoWayOut = false;
};

struct CrossCheck {
  CrossCheckStatus status = CrossCheckStatus::UNKNOWN;
  // The interface that all packets to the endpoint leave through: of the counted sockets, with
  // TRYING of the attempts. Nothing if that is unknown, none or several.
  std::optional<std::uint32_t> interfaceIndex;
  std::vector<CheckedSocket> sockets;  // to the endpoint, in the record's order
};

// Whether the remote end of the socket is the endpoint, by value; no socket goes to an endpoint
// whose status is not OK.
[[nodiscard]] EGRESS_SNAPSHOT_EXPORT bool goesTo(const Socket& socket,
                                                 const ActiveEndpoint& endpoint) noexcept;

// Compares a diagnosis of the record, made with these counted sockets, with the record's facts. An
// unknown endpoint or a failed list of sockets gives UNKNOWN without sockets. The order of rows
// changes nothing but the order of `sockets`. Throws only when memory runs out.
[[nodiscard]] EGRESS_SNAPSHOT_EXPORT CrossCheck
crossCheck(const HostSnapshot& snapshot, const Diagnosis& diagnosis,
           CountedSockets counted = CountedSockets::TCP);

}  // namespace egress::snapshot

#endif
