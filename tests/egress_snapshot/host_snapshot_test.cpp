#include "egress_snapshot/host_snapshot.h"

#include <tuple>

#include <gtest/gtest.h>

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
  expectNoDefaults(snapshot.blanked);
  expectNoDefaults(snapshot.queries.front());
  expectNoDefaults(snapshot.resolvedNames.front());
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

TEST(HostSnapshot, OnlyATcpSocketWithoutAnAnswerIsAnAttempt) {
  for (const CountedRow& row : kCountedRows) {
    Socket socket;
    socket.state = row.state;
    EXPECT_EQ(isAttempt(socket), row.state == SocketState::SYN_SENT);
    socket.protocol = SocketProtocol::UDP;
    EXPECT_FALSE(isAttempt(socket));
  }
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
struct SourceRow {
  NameSource source;
  std::string_view word;
};
struct OutcomeRow {
  QueryOutcome outcome;
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
           {.fact = FactKind::ADDRESS, .word = "ADDRESS"},
       })) {
    EXPECT_EQ(kFactKindWords.at(static_cast<std::size_t>(row.fact)), row.word);
  }
  for (const SourceRow& row : std::to_array<SourceRow>({
           {.source = NameSource::CALLER, .word = "CALLER"},
           {.source = NameSource::SYSTEM, .word = "SYSTEM"},
       })) {
    EXPECT_EQ(kNameSourceWords.at(static_cast<std::size_t>(row.source)), row.word);
  }
  for (const OutcomeRow& row : std::to_array<OutcomeRow>({
           {.outcome = QueryOutcome::ANSWERED, .word = "ANSWERED"},
           {.outcome = QueryOutcome::REFUSED, .word = "REFUSED"},
           {.outcome = QueryOutcome::TIMED_OUT, .word = "TIMED_OUT"},
           {.outcome = QueryOutcome::NAME_NOT_FOUND, .word = "NAME_NOT_FOUND"},
           {.outcome = QueryOutcome::BAD_CERTIFICATE, .word = "BAD_CERTIFICATE"},
           {.outcome = QueryOutcome::UNAUTHORIZED, .word = "UNAUTHORIZED"},
           {.outcome = QueryOutcome::NOT_FOUND, .word = "NOT_FOUND"},
           {.outcome = QueryOutcome::BAD_STATUS, .word = "BAD_STATUS"},
           {.outcome = QueryOutcome::TOO_LARGE, .word = "TOO_LARGE"},
           {.outcome = QueryOutcome::NOT_JSON, .word = "NOT_JSON"},
           {.outcome = QueryOutcome::NO_NOW, .word = "NO_NOW"},
           {.outcome = QueryOutcome::FAILED, .word = "FAILED"},
       })) {
    EXPECT_EQ(kQueryOutcomeWords.at(static_cast<std::size_t>(row.outcome)), row.word);
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
