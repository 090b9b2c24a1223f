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
enum class FactKind : std::uint32_t { MARK, ROUTE, PACKETS, ADDRESS };
inline constexpr auto kFactKindWords =
    std::to_array<std::string_view>({"MARK", "ROUTE", "PACKETS", "ADDRESS"});

// A fact that was asked for and could not be had, for one socket, for all, or for a host name.
struct MissingFact {
  FactKind fact = FactKind::MARK;
  std::string reason;  // in words; empty: unknown
};

// What the text of the configuration had beside JSON. It was blanked before the text was read.
struct BlankedParts {
  bool byteOrderMark = false;
  std::uint32_t comments = 0;
  std::uint32_t trailingCommas = 0;
};

// What became of a query for the outbound that a selector uses.
enum class QueryOutcome : std::uint32_t {
  ANSWERED,
  REFUSED,          // nobody accepts connections there
  TIMED_OUT,        // no whole answer in time
  NAME_NOT_FOUND,   // the engine's host name has no address
  BAD_CERTIFICATE,  // the engine's certificate is not trusted
  UNAUTHORIZED,     // HTTP status 401 or 403: a credential is missing or wrong
  NOT_FOUND,        // HTTP status 404: the engine knows no selector of this tag
  BAD_STATUS,       // any other HTTP status than 2xx
  TOO_LARGE,        // the answer is larger than the limit
  NOT_JSON,         // the answer is not a JSON object
  NO_NOW,           // the answer has no text under "now"
  FAILED,           // anything else
};
inline constexpr auto kQueryOutcomeWords = std::to_array<std::string_view>(
    {"ANSWERED", "REFUSED", "TIMED_OUT", "NAME_NOT_FOUND", "BAD_CERTIFICATE", "UNAUTHORIZED",
     "NOT_FOUND", "BAD_STATUS", "TOO_LARGE", "NOT_JSON", "NO_NOW", "FAILED"});

// One query to the engine. Its answer is in HostSnapshot::selectorAnswers.
struct SelectorQuery {
  std::string selectorTag;
  QueryOutcome outcome = QueryOutcome::ANSWERED;
  std::string reason;  // of a failure, in words, without credentials; empty: unknown, or answered
};

// Who said that an address stands for a host name.
enum class NameSource : std::uint32_t { CALLER, SYSTEM };
inline constexpr auto kNameSourceWords = std::to_array<std::string_view>({"CALLER", "SYSTEM"});

// One address of a server that the configuration has by name.
struct ResolvedName {
  std::string name;     // as in Outbound::server
  std::string address;  // numeric text
  NameSource source = NameSource::CALLER;
};

struct HostSnapshot {
  Origin origin;
  ProxyConfig config;  // as read
  BlankedParts blanked;
  std::string mainTag;  // of the outbound where the walk starts; empty: egress::kStartTag
  std::vector<SelectorAnswer> selectorAnswers;
  std::vector<SelectorQuery> queries;  // that were made, in order
  std::string selectorHint;
  std::vector<ResolvedName> resolvedNames;
  std::vector<Process> processes;  // whose sockets are in the list
  std::string listeningAt;         // where the processes were found to listen: a socket's path or
                                   // address and port; empty: they were chosen otherwise
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

// Whether the socket is a TCP connection attempt without an answer so far (SYN_SENT).
[[nodiscard]] EGRESS_SNAPSHOT_EXPORT bool isAttempt(const Socket& socket) noexcept;

}  // namespace egress::snapshot

#endif
