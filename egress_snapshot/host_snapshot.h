#ifndef EGRESS_SNAPSHOT_HOST_SNAPSHOT_H
#define EGRESS_SNAPSHOT_HOST_SNAPSHOT_H

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "egress/config/proxy_config.h"
#include "egress/config/selector_answer.h"
#include "egress/core/diagnosis_input.h"
#include "egress_snapshot/export.h"

namespace egress::snapshot {

// The record of a host: what a diagnosis needs, and what a person needs to understand it. Texts are
// bytes in no particular encoding.

// Where a record comes from. An empty text is unknown.
struct Origin {
  std::string time;            // of the first list, UTC as in RFC 3339: "2026-11-22T04:23:00Z"
  std::string program;         // that took it
  std::string programVersion;  // of that program
  std::string system;          // it was taken on: name, release and machine
};

// One process of the engine.
struct Process {
  std::uint32_t id = 0;
  std::uint32_t user = 0;  // ID of who started it
  std::string program;     // path of its executable
};

// The rows of one kind that the system had at one moment.
template <typename Row>
struct SnapshotList {
  bool enumFailed = false;    // the list could not be taken; the rows are ignored
  std::string failureReason;  // why, in words; empty: unknown, or not failed
  std::vector<Row> rows;
};

enum class InterfaceKind : std::uint32_t {
  OTHER,
  LOOPBACK,
  TUNNEL,  // its packets leave the host inside others, through another interface
};
inline constexpr auto kInterfaceKindWords =
    std::to_array<std::string_view>({"OTHER", "LOOPBACK", "TUNNEL"});

// One network adapter: the fields of egress::InterfaceRow, its name and kind.
struct Adapter {
  std::string name;                    // the system's, for example "eth0"
  std::uint32_t interfaceIndex = 0;    // the system's own; may repeat
  std::int32_t operStatus = 0;         // ifOperStatus of RFC 2863; 1 is up
  std::uint32_t interfaceMetric = 0;   // on systems that add it to the metrics of their routes
  std::vector<std::string> addresses;  // unicast, numeric text; any other text matches nothing
  std::optional<InterfaceKind> kind;   // as far as the system tells; absent: unknown
};

// Whether no packet can pass the interface, by operStatus.
[[nodiscard]] EGRESS_SNAPSHOT_EXPORT bool isDown(const Adapter& adapter) noexcept;

enum class SocketProtocol : std::uint32_t { TCP, UDP };
inline constexpr auto kSocketProtocolWords = std::to_array<std::string_view>({"TCP", "UDP"});

// The states of RFC 9293, section 3.3.2. A connected UDP socket is ESTABLISHED.
enum class SocketState : std::uint32_t {
  ESTABLISHED,
  SYN_SENT,
  SYN_RECEIVED,
  FIN_WAIT_1,
  FIN_WAIT_2,
  CLOSE_WAIT,
  CLOSING,
  LAST_ACK,
  TIME_WAIT,
  LISTEN,
  CLOSED,
};
inline constexpr auto kSocketStateWords = std::to_array<std::string_view>(
    {"ESTABLISHED", "SYN_SENT", "SYN_RECEIVED", "FIN_WAIT_1", "FIN_WAIT_2", "CLOSE_WAIT", "CLOSING",
     "LAST_ACK", "TIME_WAIT", "LISTEN", "CLOSED"});

// Packets of one socket that left through one interface.
struct SeenPackets {
  std::uint32_t interfaceIndex = 0;
  std::uint32_t count = 0;
};

// One socket of the engine: the fields of egress::SocketSource, and what else the system says.
struct Socket {
  SocketProtocol protocol = SocketProtocol::TCP;
  SocketState state = SocketState::ESTABLISHED;
  std::string localAddress;  // numeric text; any other text matches nothing
  std::uint32_t localPort = 0;
  std::string remoteAddress;  // numeric text; any other text matches nothing
  std::uint32_t remotePort = 0;

  // Facts that a system may keep to itself; absent: unknown.
  std::optional<std::uint32_t> boundInterfaceIndex;  // of the device it is bound to; 0: none
  std::optional<std::uint32_t> mark;                 // for policy routing; 0: none
  std::optional<std::uint32_t> user;                 // ID of the socket's owner
  std::optional<std::uint32_t> routeInterfaceIndex;  // that the system's route for it leads
                                                     // through; 0: the system has no route for it
  std::vector<SeenPackets> seenPackets;              // while packets were observed
};

// The facts that a system may keep to itself.
enum class FactKind : std::uint32_t { MARK, ROUTE, PACKETS };
inline constexpr auto kFactKindWords =
    std::to_array<std::string_view>({"MARK", "ROUTE", "PACKETS"});

// A fact that was asked for and could not be had, for one socket or for all.
struct MissingFact {
  FactKind fact = FactKind::MARK;
  std::string reason;  // in words; empty: unknown
};

struct HostSnapshot {
  Origin origin;
  ProxyConfig config;  // as read
  std::vector<SelectorAnswer> selectorAnswers;
  std::string selectorHint;
  std::vector<Process> processes;  // whose sockets are in the list
  SnapshotList<Adapter> adapters;
  SnapshotList<RouteRow> routes;
  SnapshotList<Socket> sockets;
  std::optional<std::uint32_t> observedSeconds;  // how long packets were observed; absent: not
  std::vector<MissingFact> missingFacts;
};

// Which sockets count for a diagnosis. All protocols that the core follows to an endpoint use TCP,
// so a UDP socket to the endpoint is no evidence.
enum class CountedSockets : std::uint32_t { TCP, TCP_AND_UDP };

// Whether the socket has a connected state (from ESTABLISHED until both ends are closed) and a
// protocol that counts.
[[nodiscard]] EGRESS_SNAPSHOT_EXPORT bool isCounted(const Socket& socket,
                                                    CountedSockets counted) noexcept;

// The core's input: the same rows, of the sockets those that count, without names and facts. Throws
// only when memory runs out.
[[nodiscard]] EGRESS_SNAPSHOT_EXPORT DiagnosisInput
toInput(const HostSnapshot& snapshot, CountedSockets counted = CountedSockets::TCP);

}  // namespace egress::snapshot

#endif
