#include "egress_snapshot/cross_check.h"

#include <algorithm>
#include <limits>
#include <set>
#include <string>
#include <utility>

#include <gtest/gtest.h>

#include "egress/core/diagnose_egress.h"
#include "egress_snapshot/diagnose_snapshot.h"
#include "tests/egress_snapshot/selected_snapshot.h"
#include "tests/support/cross_check_text.h"

namespace egress::snapshot {
namespace {

using egress::test::textOf;

constexpr const char* kEndpoint = "198.51.100.10";
constexpr std::uint32_t kPort = 443;
constexpr const char* kUnowned = "192.0.2.99";
constexpr std::uint32_t kUnknownIndex = 99;  // of no adapter
constexpr std::int32_t kUp = 1;
constexpr std::int32_t kDown = 2;

Adapter adapter(std::uint32_t interfaceIndex, std::int32_t operStatus, std::string address = "") {
  Adapter row;
  row.interfaceIndex = interfaceIndex;
  row.operStatus = operStatus;
  row.addresses = {std::move(address)};
  return row;
}

// Interfaces 2 and 3 are up, 4 is down, and one of the two rows of 5 is down.
std::vector<Adapter> adapterRows() {
  std::vector<Adapter> rows = {adapter(2, kUp, "192.0.2.2"), adapter(3, kUp, "192.0.2.3"),
                               adapter(4, kDown, "192.0.2.4"), adapter(5, kUp, "192.0.2.3"),
                               adapter(5, kDown, "192.0.2.3")};
  rows[1].addresses.insert(rows[1].addresses.end(), {"2001:db8::3", "no address"});
  return rows;
}

HostSnapshot recordWith(std::vector<Socket> sockets) {
  HostSnapshot snapshot;
  snapshot.adapters.rows = adapterRows();
  snapshot.sockets.rows = std::move(sockets);
  return snapshot;
}

// With an endpoint; the core named the interface with this index, or none.
Diagnosis diagnosisNaming(std::optional<std::uint32_t> interfaceIndex) {
  Diagnosis diagnosis;
  diagnosis.endpoint = {
      .status = ActiveEndpointStatus::OK, .address = parseNumericAddress(kEndpoint), .port = kPort};
  diagnosis.selection.status = SelectionStatus::NO_MATCHING_SOCKET;
  for (const std::uint32_t index : {2U, 3U, 4U, 5U, 5U}) {
    diagnosis.interfaces.push_back({.ordinal = index - 1, .interfaceIndex = index});
  }
  if (interfaceIndex) {
    diagnosis.selection = {.status = SelectionStatus::OK, .ordinal = *interfaceIndex - 1};
  }
  return diagnosis;
}

// To the endpoint, established, from an address that no interface owns, without facts.
Socket socketToEndpoint() {
  return makeSocket(kUnowned, 50000, kEndpoint, kPort);
}
Socket withState(Socket socket, SocketState state) {
  socket.state = state;
  return socket;
}
Socket withRoute(Socket socket, std::uint32_t interfaceIndex) {
  socket.routeInterfaceIndex = interfaceIndex;
  return socket;
}
Socket withBound(Socket socket, std::uint32_t interfaceIndex) {
  socket.boundInterfaceIndex = interfaceIndex;
  return socket;
}
Socket withPackets(Socket socket, std::vector<SeenPackets> seen) {
  socket.seenPackets = std::move(seen);
  return socket;
}

Socket routed(std::uint32_t interfaceIndex) {
  return withRoute(socketToEndpoint(), interfaceIndex);
}
Socket bound(std::uint32_t interfaceIndex) {
  return withBound(socketToEndpoint(), interfaceIndex);
}
Socket seen(std::vector<SeenPackets> packets) {
  return withPackets(socketToEndpoint(), std::move(packets));
}
Socket attempt() {
  return withState(socketToEndpoint(), SocketState::SYN_SENT);
}
Socket udp() {
  Socket socket = socketToEndpoint();
  socket.protocol = SocketProtocol::UDP;
  return socket;
}

TEST(CrossCheck, TheWordsAreTheNamesOfTheEnumerators) {
  const auto wordOf = [](const auto& words, auto value) {
    return words.at(static_cast<std::size_t>(value));
  };
  const auto& statuses = kCrossCheckStatusWords;
  EXPECT_EQ(wordOf(statuses, CrossCheckStatus::AGREES), "AGREES");
  EXPECT_EQ(wordOf(statuses, CrossCheckStatus::DISAGREES), "DISAGREES");
  EXPECT_EQ(wordOf(statuses, CrossCheckStatus::SETTLES), "SETTLES");
  EXPECT_EQ(wordOf(statuses, CrossCheckStatus::SEVERAL), "SEVERAL");
  EXPECT_EQ(wordOf(statuses, CrossCheckStatus::NO_WAY_OUT), "NO_WAY_OUT");
  EXPECT_EQ(wordOf(statuses, CrossCheckStatus::TRYING), "TRYING");
  EXPECT_EQ(wordOf(statuses, CrossCheckStatus::NO_SOCKET), "NO_SOCKET");
  EXPECT_EQ(wordOf(statuses, CrossCheckStatus::UNKNOWN), "UNKNOWN");
  EXPECT_EQ(wordOf(kEvidenceWords, Evidence::NONE), "NONE");
  EXPECT_EQ(wordOf(kEvidenceWords, Evidence::BOUND_DEVICE), "BOUND_DEVICE");
  EXPECT_EQ(wordOf(kEvidenceWords, Evidence::ROUTE), "ROUTE");
  EXPECT_EQ(wordOf(kEvidenceWords, Evidence::PACKETS), "PACKETS");
  EXPECT_EQ(wordOf(kSocketRoleWords, SocketRole::COUNTED), "COUNTED");
  EXPECT_EQ(wordOf(kSocketRoleWords, SocketRole::TRYING), "TRYING");
  EXPECT_EQ(wordOf(kSocketRoleWords, SocketRole::NOT_COUNTED), "NOT_COUNTED");
}

TEST(CrossCheck, AFreshResultIsUnknown) {
  EXPECT_EQ(textOf(CrossCheck{}), "UNKNOWN none");
  EXPECT_EQ(textOf(CheckedSocket{}),
            "COUNTED, source { }, bound none, route none, packets { }, by NONE leaves { }");
}

struct SocketRow {
  const char* name;
  Socket socket;
  CheckedSocket wanted;
};

// A socket without facts but its source address.
Socket from(const char* localAddress) {
  return makeSocket(localAddress, 50000, kEndpoint, kPort);
}

std::vector<SocketRow> sourceRows() {
  return {
      {.name = "one owner", .socket = from("192.0.2.2"), .wanted = {.bySource = {2}}},
      {.name = "the owner is down", .socket = from("192.0.2.4"), .wanted = {.bySource = {4}}},
      {.name = "several owners, each once",
       .socket = from("192.0.2.3"),
       .wanted = {.bySource = {3, 5}}},
      {.name = "owned by value",
       .socket = from("2001:DB8:0::3%three"),
       .wanted = {.bySource = {3}}},
      {.name = "the mapped form is another address",
       .socket = from("::ffff:192.0.2.2"),
       .wanted = {}},
      {.name = "owned by nobody", .socket = from(kUnowned), .wanted = {}},
      {.name = "between two owned addresses", .socket = from("192.0.2.200"), .wanted = {}},
      {.name = "no address matches no address", .socket = from("no address"), .wanted = {}},
      {.name = "an empty address", .socket = from(""), .wanted = {}},
  };
}

std::vector<SocketRow> boundDeviceRows() {
  return {
      {.name = "bound, route unknown",
       .socket = bound(2),
       .wanted = {.byBoundDevice = 2, .decidedBy = Evidence::BOUND_DEVICE, .leavesThrough = {2}}},
      {.name = "bound to a device that is down",
       .socket = bound(4),
       .wanted = {.byBoundDevice = 4, .decidedBy = Evidence::BOUND_DEVICE, .hasNoWayOut = true}},
      {.name = "bound to a device of which a row is up",
       .socket = bound(5),
       .wanted = {.byBoundDevice = 5, .decidedBy = Evidence::BOUND_DEVICE, .leavesThrough = {5}}},
      {.name = "not bound", .socket = bound(0), .wanted = {}},
      {.name = "bound to an unknown device", .socket = bound(kUnknownIndex), .wanted = {}},
      {.name = "bound, the route's interface is unknown",
       .socket = withRoute(bound(2), kUnknownIndex),
       .wanted = {.byBoundDevice = 2, .decidedBy = Evidence::BOUND_DEVICE, .leavesThrough = {2}}},
  };
}

std::vector<SocketRow> routeRows() {
  return {
      {.name = "routed",
       .socket = routed(3),
       .wanted = {.byRoute = 3, .decidedBy = Evidence::ROUTE, .leavesThrough = {3}}},
      {.name = "the route is stronger than the bound device",
       .socket = withBound(routed(3), 2),
       .wanted =
           {.byBoundDevice = 2, .byRoute = 3, .decidedBy = Evidence::ROUTE, .leavesThrough = {3}}},
      {.name = "the source does not decide",
       .socket = withRoute(from("192.0.2.2"), 3),
       .wanted =
           {.bySource = {2}, .byRoute = 3, .decidedBy = Evidence::ROUTE, .leavesThrough = {3}}},
      {.name = "no route",
       .socket = routed(0),
       .wanted = {.decidedBy = Evidence::ROUTE, .hasNoWayOut = true}},
      {.name = "no route is stronger than the bound device",
       .socket = withBound(routed(0), 2),
       .wanted = {.byBoundDevice = 2, .decidedBy = Evidence::ROUTE, .hasNoWayOut = true}},
      {.name = "the route leads through an interface that is down",
       .socket = withBound(routed(4), 2),
       .wanted =
           {.byBoundDevice = 2, .byRoute = 4, .decidedBy = Evidence::ROUTE, .hasNoWayOut = true}},
      {.name = "the route's interface is unknown", .socket = routed(kUnknownIndex), .wanted = {}},
  };
}

std::vector<SocketRow> packetRows() {
  const CheckedSocket onTwo = {
      .byPackets = {2}, .decidedBy = Evidence::PACKETS, .leavesThrough = {2}};
  return {
      {.name = "seen", .socket = seen({{2, 1}}), .wanted = onTwo},
      {.name = "seen twice on one interface", .socket = seen({{2, 1}, {2, 7}}), .wanted = onTwo},
      {.name = "also seen on an unknown interface",
       .socket = seen({{kUnknownIndex, 1}, {2, 1}}),
       .wanted = onTwo},
      {.name = "looked for in vain on another interface",
       .socket = seen({{2, 1}, {3, 0}}),
       .wanted = onTwo},
      {.name = "looked for in vain", .socket = seen({{2, 0}}), .wanted = {}},
      {.name = "seen on an unknown interface only",
       .socket = seen({{kUnknownIndex, 1}}),
       .wanted = {}},
      {.name = "seen on several, the route is unknown",
       .socket = seen({{3, 1}, {2, 1}}),
       .wanted = {.byPackets = {2, 3}, .decidedBy = Evidence::PACKETS, .leavesThrough = {2, 3}}},
      {.name = "seen on several, the route names the first that they pass",
       .socket = withRoute(seen({{2, 1}, {3, 1}}), 3),
       .wanted = {.byRoute = 3,
                  .byPackets = {2, 3},
                  .decidedBy = Evidence::PACKETS,
                  .leavesThrough = {3}}},
      {.name = "seen on others than the route's",
       .socket = withRoute(withBound(seen({{2, 1}, {3, 1}}), 5), 5),
       .wanted = {.byBoundDevice = 5,
                  .byRoute = 5,
                  .byPackets = {2, 3},
                  .decidedBy = Evidence::PACKETS,
                  .leavesThrough = {2, 3}}},
      {.name = "seen although there is no route",
       .socket = withRoute(seen({{2, 1}}), 0),
       .wanted = onTwo},
      {.name = "seen on an interface that is down",
       .socket = withRoute(seen({{4, 1}}), 4),
       .wanted =
           {.byRoute = 4, .byPackets = {4}, .decidedBy = Evidence::PACKETS, .leavesThrough = {4}}},
  };
}

TEST(CrossCheck, TheStrongestEvidenceDecidesWhereASocketLeaves) {
  std::set<Evidence> evidence;
  for (const auto& rows : {sourceRows(), boundDeviceRows(), routeRows(), packetRows()}) {
    for (const SocketRow& row : rows) {
      const CrossCheck result = crossCheck(recordWith({row.socket}), diagnosisNaming({}));
      ASSERT_EQ(result.sockets.size(), 1U) << row.name;
      EXPECT_EQ(textOf(result.sockets.front()), textOf(row.wanted)) << row.name;
      evidence.insert(result.sockets.front().decidedBy);
    }
  }
  EXPECT_EQ(evidence.size(), kEvidenceWords.size());
}

TEST(CrossCheck, AnInterfaceWithIndexZeroIsNoBoundDeviceAndNoRoute) {
  HostSnapshot snapshot = recordWith({withRoute(bound(0), 0), seen({{0, 1}})});
  snapshot.adapters.rows = {adapter(0, kUp, kUnowned)};
  const CrossCheck result = crossCheck(snapshot, diagnosisNaming({}));
  ASSERT_EQ(result.sockets.size(), 2U);
  EXPECT_EQ(textOf(result.sockets[0]),
            textOf({.bySource = {0}, .decidedBy = Evidence::ROUTE, .hasNoWayOut = true}));
  EXPECT_EQ(textOf(result.sockets[1]), textOf({.bySource = {0},
                                               .byPackets = {0},
                                               .decidedBy = Evidence::PACKETS,
                                               .leavesThrough = {0}}));
}

TEST(CrossCheck, AnIpv4AddressIsNotTheIpv6AddressWithItsBytes) {
  HostSnapshot snapshot = recordWith({from("192.0.2.2"), from("c000:202::")});
  snapshot.adapters.rows = {adapter(2, kUp, "192.0.2.2"), adapter(3, kUp, "c000:202::")};
  const CrossCheck result = crossCheck(snapshot, diagnosisNaming({}));
  ASSERT_EQ(result.sockets.size(), 2U);
  EXPECT_EQ(textOf(result.sockets[0].bySource), "{ 2 }");
  EXPECT_EQ(textOf(result.sockets[1].bySource), "{ 3 }");
}

struct OperStatusRow {
  std::int32_t operStatus;
  bool isDown;
};

TEST(CrossCheck, AnInterfaceIsDownInTheStatesInWhichNoPacketPasses) {
  for (const OperStatusRow& row : std::to_array<OperStatusRow>({
           {.operStatus = std::numeric_limits<std::int32_t>::min(), .isDown = false},
           {.operStatus = -1, .isDown = false},
           {.operStatus = 0, .isDown = false},
           {.operStatus = 1, .isDown = false},  // up
           {.operStatus = 2, .isDown = true},   // down
           {.operStatus = 3, .isDown = true},   // testing
           {.operStatus = 4, .isDown = false},  // unknown
           {.operStatus = 5, .isDown = true},   // dormant
           {.operStatus = 6, .isDown = true},   // notPresent
           {.operStatus = 7, .isDown = true},   // lowerLayerDown
           {.operStatus = 8, .isDown = false},
           {.operStatus = std::numeric_limits<std::int32_t>::max(), .isDown = false},
       })) {
    HostSnapshot snapshot = recordWith({routed(2)});
    snapshot.adapters.rows = {adapter(2, row.operStatus)};
    const CrossCheck result = crossCheck(snapshot, diagnosisNaming({}));
    EXPECT_EQ(result.sockets.at(0).hasNoWayOut, row.isDown) << row.operStatus;
    EXPECT_EQ(result.sockets.at(0).leavesThrough.empty(), row.isDown) << row.operStatus;
  }
}

TEST(CrossCheck, AnInterfaceIsDownOnlyIfAllItsRowsAre) {
  for (const auto& [first, second, isDown] :
       {std::tuple{kUp, kDown, false}, {kDown, kUp, false}, {kUp, kUp, false}, {kDown, 7, true}}) {
    HostSnapshot snapshot = recordWith({routed(2)});
    snapshot.adapters.rows = {adapter(2, first), adapter(2, second)};
    const CrossCheck result = crossCheck(snapshot, diagnosisNaming({}));
    EXPECT_EQ(result.sockets.at(0).hasNoWayOut, isDown) << first << " " << second;
  }
}

TEST(CrossCheck, AFailedListOfAdaptersHasNoInterfaces) {
  HostSnapshot snapshot = recordWith({withPackets(withBound(routed(2), 2), {{2, 1}}), routed(0)});
  snapshot.sockets.rows.front().localAddress = "192.0.2.2";
  snapshot.adapters.enumFailed = true;
  const CrossCheck result = crossCheck(snapshot, diagnosisNaming({}));
  ASSERT_EQ(result.sockets.size(), 2U);
  EXPECT_EQ(textOf(result.sockets[0]), textOf(CheckedSocket{}));
  EXPECT_TRUE(result.sockets[1].hasNoWayOut);  // that needs no interface
  EXPECT_EQ(textOf(result), "NO_WAY_OUT none");
}

struct EndRow {
  const char* name;
  std::string remoteAddress;
  std::uint32_t remotePort;
  bool isToEndpoint;
};

TEST(GoesTo, NeedsAnEndpointItsPortAndItsAddress) {
  Socket socket;
  socket.remoteAddress = "2001:db8::5";
  socket.remotePort = 443;
  const ActiveEndpoint endpoint{.status = ActiveEndpointStatus::OK,
                                .address = parseNumericAddress("2001:DB8:0::5"),
                                .port = 443};
  EXPECT_TRUE(goesTo(socket, endpoint));
  ActiveEndpoint other = endpoint;
  other.status = ActiveEndpointStatus::TRANSPORT_UNKNOWN;
  EXPECT_FALSE(goesTo(socket, other));
  other = endpoint;
  other.port = 444;
  EXPECT_FALSE(goesTo(socket, other));
  other = endpoint;
  other.address = parseNumericAddress("2001:db8::6");
  EXPECT_FALSE(goesTo(socket, other));
}

TEST(CrossCheck, ASocketToTheEndpointHasItsAddressByValueAndItsPort) {
  for (const EndRow& row : {
           EndRow{"the same", kEndpoint, kPort, true},
           EndRow{"another text", "[198.51.100.010%zone]", kPort, true},
           EndRow{"another port", kEndpoint, kPort + 1, false},
           EndRow{"no port", kEndpoint, 0, false},
           EndRow{"another address", "198.51.100.11", kPort, false},
           EndRow{"the mapped form", "::ffff:198.51.100.10", kPort, false},
           EndRow{"no address", "", kPort, false},
       }) {
    const HostSnapshot snapshot =
        recordWith({makeSocket("192.0.2.2", 50000, row.remoteAddress, row.remotePort)});
    const CrossCheck result = crossCheck(snapshot, diagnosisNaming({}));
    EXPECT_EQ(result.sockets.size(), row.isToEndpoint ? 1U : 0U) << row.name;
  }
}

TEST(CrossCheck, TheSocketsHaveTheirRowsInTheOrderOfTheRecord) {
  const Socket other = makeSocket("192.0.2.2", 50000, "203.0.113.1", kPort);
  const CrossCheck result =
      crossCheck(recordWith({other, udp(), other, routed(2), attempt()}), diagnosisNaming({}));
  ASSERT_EQ(result.sockets.size(), 3U);
  EXPECT_EQ(result.sockets[0].row, 1U);
  EXPECT_EQ(result.sockets[1].row, 3U);
  EXPECT_EQ(result.sockets[2].row, 4U);
}

struct RoleRow {
  const char* name;
  Socket socket;
  SocketRole ifTcpCounts;
  SocketRole ifBothCount;
};

TEST(CrossCheck, ASocketCountsOrTriesOrNeither) {
  using enum SocketRole;
  const Socket udpAttempt = withState(udp(), SocketState::SYN_SENT);
  std::set<SocketRole> roles;
  for (const RoleRow& row : {
           RoleRow{"connected", socketToEndpoint(), COUNTED, COUNTED},
           RoleRow{"half closed", withState(socketToEndpoint(), SocketState::LAST_ACK), COUNTED,
                   COUNTED},
           RoleRow{"attempt", attempt(), TRYING, TRYING},
           RoleRow{"answered", withState(socketToEndpoint(), SocketState::SYN_RECEIVED),
                   NOT_COUNTED, NOT_COUNTED},
           RoleRow{"ended", withState(socketToEndpoint(), SocketState::TIME_WAIT), NOT_COUNTED,
                   NOT_COUNTED},
           RoleRow{"UDP", udp(), NOT_COUNTED, COUNTED},
           RoleRow{"UDP in a state of TCP", udpAttempt, NOT_COUNTED, NOT_COUNTED},
       }) {
    const HostSnapshot snapshot = recordWith({row.socket});
    const auto roleIf = [&](CountedSockets counted) {
      return crossCheck(snapshot, diagnosisNaming({}), counted).sockets.at(0).role;
    };
    EXPECT_EQ(roleIf(CountedSockets::TCP), row.ifTcpCounts) << row.name;
    EXPECT_EQ(roleIf(CountedSockets::TCP_AND_UDP), row.ifBothCount) << row.name;
    roles.insert(row.ifTcpCounts);
  }
  EXPECT_EQ(roles.size(), kSocketRoleWords.size());
}

struct StatusRow {
  const char* name;
  std::optional<std::uint32_t> named;  // by the core
  std::vector<Socket> sockets;
  std::string_view wanted;  // the status and the interface
};

void expectStatuses(const std::vector<StatusRow>& rows) {
  for (const StatusRow& row : rows) {
    const CrossCheck result = crossCheck(recordWith(row.sockets), diagnosisNaming(row.named));
    EXPECT_EQ(textOf(result), row.wanted) << row.name;
    EXPECT_EQ(result.sockets.size(), row.sockets.size()) << row.name;
    std::vector<Socket> reversed(row.sockets.rbegin(), row.sockets.rend());
    const HostSnapshot other = recordWith(std::move(reversed));
    EXPECT_EQ(textOf(crossCheck(other, diagnosisNaming(row.named))), row.wanted) << row.name;
  }
}

std::vector<StatusRow> rowsOfEachStatus() {
  const Socket onBoth = seen({{2, 1}, {3, 1}});
  return {
      {.name = "one, as named", .named = 2, .sockets = {routed(2)}, .wanted = "AGREES 2"},
      {.name = "all as named, by different evidence",
       .named = 2,
       .sockets = {routed(2), bound(2), seen({{2, 1}})},
       .wanted = "AGREES 2"},
      {.name = "all through another", .named = 2, .sockets = {routed(3)}, .wanted = "DISAGREES 3"},
      {.name = "one of them through another",
       .named = 2,
       .sockets = {routed(2), routed(3)},
       .wanted = "DISAGREES none"},
      {.name = "also through another", .named = 2, .sockets = {onBoth}, .wanted = "DISAGREES none"},
      {.name = "one, none named", .named = {}, .sockets = {routed(3)}, .wanted = "SETTLES 3"},
      {.name = "two through one, none named",
       .named = {},
       .sockets = {routed(3), bound(3)},
       .wanted = "SETTLES 3"},
      {.name = "through two",
       .named = {},
       .sockets = {routed(2), routed(3)},
       .wanted = "SEVERAL none"},
      {.name = "one through two", .named = {}, .sockets = {onBoth}, .wanted = "SEVERAL none"},
      {.name = "no route", .named = {}, .sockets = {routed(0)}, .wanted = "NO_WAY_OUT none"},
      {.name = "its interface is down",
       .named = 4,
       .sockets = {bound(4)},
       .wanted = "NO_WAY_OUT none"},
      {.name = "an attempt", .named = {}, .sockets = {attempt()}, .wanted = "TRYING none"},
      {.name = "attempts through one",
       .named = {},
       .sockets = {withRoute(attempt(), 2), withBound(attempt(), 2)},
       .wanted = "TRYING 2"},
      {.name = "attempts through two",
       .named = {},
       .sockets = {withRoute(attempt(), 2), withRoute(attempt(), 3)},
       .wanted = "TRYING none"},
      {.name = "attempts, one without evidence",
       .named = {},
       .sockets = {withRoute(attempt(), 2), attempt()},
       .wanted = "TRYING none"},
      {.name = "an attempt without a route",
       .named = {},
       .sockets = {withRoute(attempt(), 0)},
       .wanted = "TRYING none"},
      {.name = "no socket", .named = {}, .sockets = {}, .wanted = "NO_SOCKET none"},
      {.name = "none that counts",
       .named = {},
       .sockets = {withRoute(udp(), 2)},
       .wanted = "NO_SOCKET none"},
      {.name = "no evidence, none named",
       .named = {},
       .sockets = {from("192.0.2.2")},
       .wanted = "UNKNOWN none"},
      {.name = "no evidence, one named",
       .named = 2,
       .sockets = {from("192.0.2.2")},
       .wanted = "UNKNOWN none"},
  };
}

TEST(CrossCheck, EachStatusHasItsSockets) {
  expectStatuses(rowsOfEachStatus());
  std::set<std::string_view> statuses;
  for (const StatusRow& row : rowsOfEachStatus()) {
    statuses.insert(row.wanted.substr(0, row.wanted.find(' ')));
  }
  for (const std::string_view word : kCrossCheckStatusWords)
    EXPECT_TRUE(statuses.contains(word)) << word;
  EXPECT_EQ(statuses.size(), kCrossCheckStatusWords.size());
}

TEST(CrossCheck, TheFirstStatusThatFitsIsTheResult) {
  expectStatuses({
      {.name = "a counted socket before an attempt",
       .named = {},
       .sockets = {routed(2), withRoute(attempt(), 3)},
       .wanted = "SETTLES 2"},
      {.name = "a counted socket before an attempt without a route",
       .named = 2,
       .sockets = {routed(2), withRoute(attempt(), 0)},
       .wanted = "AGREES 2"},
      {.name = "a socket without evidence before an attempt",
       .named = {},
       .sockets = {socketToEndpoint(), withRoute(attempt(), 3)},
       .wanted = "UNKNOWN none"},
      {.name = "an attempt before no socket",
       .named = {},
       .sockets = {withRoute(udp(), 2), withRoute(attempt(), 3)},
       .wanted = "TRYING 3"},
      {.name = "sockets that do not count change nothing",
       .named = 2,
       .sockets = {routed(2), withRoute(udp(), 3), udp(), withRoute(udp(), 0)},
       .wanted = "AGREES 2"},
      {.name = "no way out before another interface",
       .named = 2,
       .sockets = {routed(0), routed(3)},
       .wanted = "NO_WAY_OUT none"},
      {.name = "no way out before several",
       .named = {},
       .sockets = {routed(0), routed(2), routed(3)},
       .wanted = "NO_WAY_OUT none"},
      {.name = "no way out before no evidence",
       .named = {},
       .sockets = {routed(0), socketToEndpoint()},
       .wanted = "NO_WAY_OUT none"},
      {.name = "no way out before agreement",
       .named = 2,
       .sockets = {routed(0), routed(2)},
       .wanted = "NO_WAY_OUT none"},
      {.name = "another interface before no evidence",
       .named = 2,
       .sockets = {routed(3), socketToEndpoint()},
       .wanted = "DISAGREES none"},
      {.name = "several before no evidence",
       .named = {},
       .sockets = {routed(2), routed(3), socketToEndpoint()},
       .wanted = "SEVERAL none"},
      {.name = "no evidence before agreement",
       .named = 2,
       .sockets = {routed(2), socketToEndpoint()},
       .wanted = "UNKNOWN none"},
      {.name = "no evidence before one interface",
       .named = {},
       .sockets = {routed(2), socketToEndpoint()},
       .wanted = "UNKNOWN none"},
  });
}

TEST(CrossCheck, WithoutAnEndpointItIsUnknownWithoutSockets) {
  const HostSnapshot snapshot = recordWith({routed(2)});
  Diagnosis diagnosis = diagnosisNaming(2);
  ASSERT_EQ(textOf(crossCheck(snapshot, diagnosis)), "AGREES 2");
  for (const std::string& word : declaredActiveEndpointStatus()) {
    if (word == "OK") continue;
    diagnosis.endpoint.status = *parseActiveEndpointStatus(word);
    const CrossCheck result = crossCheck(snapshot, diagnosis);
    EXPECT_EQ(textOf(result), "UNKNOWN none") << word;
    EXPECT_TRUE(result.sockets.empty()) << word;
  }
}

TEST(CrossCheck, AFailedListOfSocketsIsUnknownWithoutSockets) {
  HostSnapshot snapshot = recordWith({routed(2)});
  snapshot.sockets.enumFailed = true;
  const CrossCheck result = crossCheck(snapshot, diagnosisNaming(2));
  EXPECT_EQ(textOf(result), "UNKNOWN none");
  EXPECT_TRUE(result.sockets.empty());
}

TEST(CrossCheck, TheCoreNamesAnInterfaceOnlyWithStatusAndOrdinal) {
  const HostSnapshot snapshot = recordWith({routed(3)});
  Diagnosis diagnosis = diagnosisNaming(2);
  ASSERT_EQ(textOf(crossCheck(snapshot, diagnosis)), "DISAGREES 3");
  diagnosis.selection.status = SelectionStatus::NO_MATCHING_SOCKET;
  EXPECT_EQ(textOf(crossCheck(snapshot, diagnosis)), "SETTLES 3");
  diagnosis.selection = {.status = SelectionStatus::OK, .ordinal = {}};
  EXPECT_EQ(textOf(crossCheck(snapshot, diagnosis)), "SETTLES 3");
  diagnosis.selection.ordinal = 9;  // of no interface
  EXPECT_EQ(textOf(crossCheck(snapshot, diagnosis)), "SETTLES 3");
}

TEST(CrossCheck, ComparesTheDiagnosisOfTheSameRecord) {
  const auto statusOf = [](const HostSnapshot& snapshot) {
    return textOf(crossCheck(snapshot, diagnose(snapshot)));
  };
  HostSnapshot snapshot =
      selectedSnapshot();  // the core names 40; the route names 7, which is down
  EXPECT_EQ(statusOf(snapshot), "NO_WAY_OUT none");
  snapshot.adapters.rows[1].operStatus = kUp;
  EXPECT_EQ(statusOf(snapshot), "DISAGREES 7");
  snapshot.sockets.rows.front().routeInterfaceIndex = 40;
  EXPECT_EQ(statusOf(snapshot), "AGREES 40");
  snapshot.adapters.rows[1].addresses.emplace_back("10.20.30.40");  // now the core names none
  EXPECT_EQ(statusOf(snapshot), "SETTLES 40");
  EXPECT_EQ(statusOf({}), "UNKNOWN none");
}

}  // namespace
}  // namespace egress::snapshot
