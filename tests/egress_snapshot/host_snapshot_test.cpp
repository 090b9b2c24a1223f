#include "egress_snapshot/host_snapshot.h"

#include <tuple>

#include <gtest/gtest.h>

#include "egress_snapshot/diagnose_snapshot.h"
#include "tests/egress_snapshot/full_snapshot.h"
#include "tests/support/snapshot_equality.h"

namespace egress::snapshot {
namespace {

// Compares every field with its default.
template <typename Record>
void expectNoDefaults(const Record& record) {
  const Record defaults;
  const auto differsFrom = [&defaults](const auto&... fields) {
    return std::apply([&fields...](const auto&... others) { return (!(fields == others) && ...); },
                      fieldsOf(defaults));
  };
  EXPECT_TRUE(std::apply(differsFrom, fieldsOf(record)));
}

TEST(FullSnapshot, NoFieldHasItsDefault) {
  const HostSnapshot snapshot = fullSnapshot();
  expectNoDefaults(snapshot);
  expectNoDefaults(snapshot.origin);
  expectNoDefaults(snapshot.config);
  expectNoDefaults(snapshot.config.outbounds.front());
  expectNoDefaults(snapshot.selectorAnswers.front());
  expectNoDefaults(snapshot.processes.front());
  expectNoDefaults(snapshot.adapters);
  expectNoDefaults(snapshot.adapters.rows.front());
  expectNoDefaults(snapshot.routes);
  expectNoDefaults(snapshot.routes.rows.front());
  expectNoDefaults(snapshot.sockets);
  expectNoDefaults(snapshot.sockets.rows.front());
  expectNoDefaults(snapshot.sockets.rows.front().seenPackets.front());
  expectNoDefaults(snapshot.missingFacts.front());
}

TEST(HostSnapshot, ToInputCopiesEveryFieldOfTheInput) {
  HostSnapshot snapshot = fullSnapshot();
  snapshot.sockets.rows.front().state = SocketState::CLOSE_WAIT;  // so that it counts
  const DiagnosisInput input = toInput(snapshot, CountedSockets::TCP_AND_UDP);
  const auto& [configStatus, autoDetectInterface, outbounds, adapters, routes, sockets,
               selectorAnswers, selectorHint] = input;

  EXPECT_EQ(configStatus, ConfigStatus::OK);
  EXPECT_TRUE(autoDetectInterface);
  EXPECT_EQ(outbounds, snapshot.config.outbounds);
  EXPECT_EQ(selectorAnswers, snapshot.selectorAnswers);
  EXPECT_EQ(selectorHint, snapshot.selectorHint);

  const std::vector<std::string>& addresses = snapshot.adapters.rows[0].addresses;
  const AdapterSnapshot wantedAdapters = {.enumFailed = true,
                                          .rows = {{.interfaceIndex = 4294967295,
                                                    .operStatus = -2147483647 - 1,
                                                    .interfaceMetric = 4294967295,
                                                    .addresses = addresses},
                                                   {}}};
  EXPECT_EQ(adapters, wantedAdapters);
  const RouteSnapshot wantedRoutes = {
      .enumFailed = true,
      .rows = {{.family = 2147483647, .interfaceIndex = 7, .routeMetric = 9}, {}}};
  EXPECT_EQ(routes, wantedRoutes);
  const SocketSnapshot wantedSockets = {.enumFailed = true,
                                        .rows = {{.localAddress = "10.1.2.3",
                                                  .localPort = 4294967295,
                                                  .remoteAddress = "no address",
                                                  .remotePort = 443},
                                                 {}}};
  EXPECT_EQ(sockets, wantedSockets);
}

TEST(HostSnapshot, AFreshRecordIsAFreshInput) {
  const DiagnosisInput input = toInput({});
  EXPECT_EQ(input.configStatus, ConfigStatus::NO_CONFIG);
  EXPECT_FALSE(input.autoDetectInterface);
  EXPECT_TRUE(input.outbounds.empty());
  EXPECT_EQ(input.adapters, AdapterSnapshot{});
  EXPECT_EQ(input.routes, RouteSnapshot{});
  EXPECT_EQ(input.sockets, SocketSnapshot{});
  EXPECT_TRUE(input.selectorAnswers.empty());
  EXPECT_EQ(input.selectorHint, "");
}

TEST(HostSnapshot, EachListFailsOnItsOwn) {
  HostSnapshot snapshot;
  snapshot.routes.enumFailed = true;
  const DiagnosisInput input = toInput(snapshot);
  EXPECT_FALSE(input.adapters.enumFailed);
  EXPECT_TRUE(input.routes.enumFailed);
  EXPECT_FALSE(input.sockets.enumFailed);
}

struct CountedRow {
  SocketState state;
  bool isConnected;
};

constexpr auto kCountedRows = std::to_array<CountedRow>({
    {.state = SocketState::ESTABLISHED, .isConnected = true},
    {.state = SocketState::SYN_SENT, .isConnected = false},
    {.state = SocketState::SYN_RECEIVED, .isConnected = false},
    {.state = SocketState::FIN_WAIT_1, .isConnected = true},
    {.state = SocketState::FIN_WAIT_2, .isConnected = true},
    {.state = SocketState::CLOSE_WAIT, .isConnected = true},
    {.state = SocketState::CLOSING, .isConnected = true},
    {.state = SocketState::LAST_ACK, .isConnected = true},
    {.state = SocketState::TIME_WAIT, .isConnected = false},
    {.state = SocketState::LISTEN, .isConnected = false},
    {.state = SocketState::CLOSED, .isConnected = false},
    {.state = static_cast<SocketState>(11), .isConnected = false},
});

TEST(HostSnapshot, ConnectedSocketsOfACountedProtocolCount) {
  EXPECT_EQ(kCountedRows.size(), kSocketStateWords.size() + 1);
  for (const CountedRow& row : kCountedRows) {
    SCOPED_TRACE(static_cast<std::uint32_t>(row.state));
    const auto isCountedIf = [&row](SocketProtocol protocol, CountedSockets counted) {
      Socket socket;
      socket.protocol = protocol;
      socket.state = row.state;
      return isCounted(socket, counted);
    };
    EXPECT_EQ(isCountedIf(SocketProtocol::TCP, CountedSockets::TCP), row.isConnected);
    EXPECT_EQ(isCountedIf(SocketProtocol::TCP, CountedSockets::TCP_AND_UDP), row.isConnected);
    EXPECT_FALSE(isCountedIf(SocketProtocol::UDP, CountedSockets::TCP));
    EXPECT_EQ(isCountedIf(SocketProtocol::UDP, CountedSockets::TCP_AND_UDP), row.isConnected);
  }
}

TEST(HostSnapshot, ToInputHasTheSocketsThatCountInTheirOrder) {
  HostSnapshot snapshot;
  std::vector<std::uint32_t> wantedTcp;
  std::vector<std::uint32_t> wantedBoth;
  for (const CountedRow& row : kCountedRows) {
    for (const SocketProtocol protocol : {SocketProtocol::UDP, SocketProtocol::TCP}) {
      const auto port = static_cast<std::uint32_t>(snapshot.sockets.rows.size());
      Socket& socket = snapshot.sockets.rows.emplace_back();
      socket.protocol = protocol;
      socket.state = row.state;
      socket.localPort = port;
      if (!row.isConnected) continue;
      wantedBoth.push_back(port);
      if (protocol == SocketProtocol::TCP) wantedTcp.push_back(port);
    }
  }
  const auto portsOf = [](const DiagnosisInput& input) {
    std::vector<std::uint32_t> ports;
    for (const SocketSource& row : input.sockets.rows) ports.push_back(row.localPort);
    return ports;
  };
  EXPECT_EQ(portsOf(toInput(snapshot)), wantedTcp);
  EXPECT_EQ(portsOf(toInput(snapshot, CountedSockets::TCP)), wantedTcp);
  EXPECT_EQ(portsOf(toInput(snapshot, CountedSockets::TCP_AND_UDP)), wantedBoth);
}

struct ProtocolRow {
  SocketProtocol protocol;
  std::string_view word;
};
struct KindRow {
  InterfaceKind kind;
  std::string_view word;
};
struct FactRow {
  FactKind fact;
  std::string_view word;
};
struct StateRow {
  SocketState state;
  std::string_view word;
};

TEST(HostSnapshot, EnumeratorsHaveTheirNamesAsWords) {
  for (const KindRow& row : std::to_array<KindRow>({
           {.kind = InterfaceKind::OTHER, .word = "OTHER"},
           {.kind = InterfaceKind::LOOPBACK, .word = "LOOPBACK"},
           {.kind = InterfaceKind::TUNNEL, .word = "TUNNEL"},
       })) {
    EXPECT_EQ(kInterfaceKindWords.at(static_cast<std::size_t>(row.kind)), row.word);
  }
  for (const FactRow& row : std::to_array<FactRow>({
           {.fact = FactKind::MARK, .word = "MARK"},
           {.fact = FactKind::ROUTE, .word = "ROUTE"},
           {.fact = FactKind::PACKETS, .word = "PACKETS"},
       })) {
    EXPECT_EQ(kFactKindWords.at(static_cast<std::size_t>(row.fact)), row.word);
  }
  for (const ProtocolRow& row : std::to_array<ProtocolRow>({
           {.protocol = SocketProtocol::TCP, .word = "TCP"},
           {.protocol = SocketProtocol::UDP, .word = "UDP"},
       })) {
    EXPECT_EQ(kSocketProtocolWords.at(static_cast<std::size_t>(row.protocol)), row.word);
  }
  for (const StateRow& row : std::to_array<StateRow>({
           {.state = SocketState::ESTABLISHED, .word = "ESTABLISHED"},
           {.state = SocketState::SYN_SENT, .word = "SYN_SENT"},
           {.state = SocketState::SYN_RECEIVED, .word = "SYN_RECEIVED"},
           {.state = SocketState::FIN_WAIT_1, .word = "FIN_WAIT_1"},
           {.state = SocketState::FIN_WAIT_2, .word = "FIN_WAIT_2"},
           {.state = SocketState::CLOSE_WAIT, .word = "CLOSE_WAIT"},
           {.state = SocketState::CLOSING, .word = "CLOSING"},
           {.state = SocketState::LAST_ACK, .word = "LAST_ACK"},
           {.state = SocketState::TIME_WAIT, .word = "TIME_WAIT"},
           {.state = SocketState::LISTEN, .word = "LISTEN"},
           {.state = SocketState::CLOSED, .word = "CLOSED"},
       })) {
    EXPECT_EQ(kSocketStateWords.at(static_cast<std::size_t>(row.state)), row.word);
  }
}

}  // namespace
}  // namespace egress::snapshot
