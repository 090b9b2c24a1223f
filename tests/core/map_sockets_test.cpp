#include "egress/core/map_sockets.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "egress/selfcheck/fixtures.h"
#include "tests/support/exact_text.h"

namespace egress::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::string_view kEndpointAddress = "198.51.100.10";
constexpr std::uint32_t kEndpointPort = 443;

ActiveEndpoint endpointAt(std::string_view address, std::uint32_t port) {
  return {
      .status = ActiveEndpointStatus::OK, .address = parseNumericAddress(address), .port = port};
}

SocketSource socketTo(std::string_view remoteAddress, std::uint32_t remotePort,
                      std::string_view localAddress = "10.0.0.7") {
  SocketSource socket;
  socket.localAddress = localAddress;
  socket.localPort = 51000;
  socket.remoteAddress = remoteAddress;
  socket.remotePort = remotePort;
  return socket;
}

// Maps sockets with the default adapters: 10.0.0.7 belongs to interface 1, 192.168.1.50 to
// interface 2.
MappedSockets mappedFrom(const std::vector<SocketSource>& rows, const ActiveEndpoint& endpoint) {
  const AdapterSnapshot adapters = makeDefaultAdapters();
  const OrdinalTable ordinalTable = makeOrdinalTable(adapters);
  SocketSnapshot sockets;
  sockets.rows = rows;
  return mapSockets(sockets, endpoint, makeAddressTable(adapters, ordinalTable), ordinalTable);
}

MappedSockets mappedFrom(const std::vector<SocketSource>& rows) {
  return mappedFrom(rows, endpointAt(kEndpointAddress, kEndpointPort));
}

bool matches(const ActiveEndpoint& endpoint, std::string_view remoteAddress,
             std::uint32_t remotePort) {
  return mappedFrom({socketTo(remoteAddress, remotePort)}, endpoint).matches.anySocket;
}

// Formats a summary, one word per property.
std::string describe(const MatchSummary& matches) {
  std::string text = matches.anySocket ? "some" : "none";
  if (matches.anyUnmapped) text += " unmapped";
  if (matches.anyAmbiguous) text += " ambiguous";
  if (matches.severalInterfaces) text += " several";
  if (matches.ordinal) text += " " + std::to_string(*matches.ordinal);
  return text;
}

TEST(MapSockets, ThePortMustMatch) {
  struct Row {
    std::uint32_t endpointPort;
    std::uint32_t remotePort;
    bool match;
  };
  const std::vector<Row> rows = {
      {.endpointPort = 443, .remotePort = 443, .match = true},
      {.endpointPort = 443, .remotePort = 442, .match = false},
      {.endpointPort = 443, .remotePort = 444, .match = false},
      {.endpointPort = 443, .remotePort = 0, .match = false},
      {.endpointPort = 443, .remotePort = 65536 + 443, .match = false},
      {.endpointPort = 443, .remotePort = 0xFFFF0000U + 443, .match = false},
      {.endpointPort = 65536 + 443, .remotePort = 443, .match = false},
      {.endpointPort = 65536 + 443, .remotePort = 65536 + 443, .match = true},
      {.endpointPort = 0, .remotePort = 0, .match = true},
      {.endpointPort = 0, .remotePort = 65536, .match = false},
      {.endpointPort = 65535, .remotePort = 65535, .match = true},
      {.endpointPort = 65535, .remotePort = 4294967295U, .match = false},
      {.endpointPort = 4294967295U, .remotePort = 4294967295U, .match = true},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(std::to_string(row.endpointPort) + " and " + std::to_string(row.remotePort));
    EXPECT_EQ(
        matches(endpointAt(kEndpointAddress, row.endpointPort), kEndpointAddress, row.remotePort),
        row.match);
  }
}

TEST(MapSockets, RemoteAddressesAreComparedByValueWithinOneFamily) {
  struct Row {
    std::string_view endpoint;
    std::string_view remote;
    bool match;
  };
  const std::vector<Row> rows = {
      {.endpoint = "198.51.100.10", .remote = "198.51.100.10", .match = true},
      {.endpoint = "198.51.100.10", .remote = "[198.51.100.10]", .match = true},
      {.endpoint = "198.51.100.10", .remote = "198.51.100.10%eth0", .match = true},
      {.endpoint = "198.51.100.10", .remote = "198.051.100.010", .match = true},
      {.endpoint = "198.51.100.10", .remote = "198.51.100.11", .match = false},
      {.endpoint = "198.51.100.10", .remote = "199.51.100.10", .match = false},
      {.endpoint = "198.51.100.10", .remote = "::ffff:198.51.100.10", .match = false},
      {.endpoint = "198.51.100.10", .remote = "::198.51.100.10", .match = false},
      {.endpoint = "198.51.100.10", .remote = "c633:640a::", .match = false},
      {.endpoint = "2001:db8::20", .remote = "2001:db8::20", .match = true},
      {.endpoint = "2001:db8::20", .remote = "2001:DB8:0:0:0:0:0:20", .match = true},
      {.endpoint = "2001:db8::20", .remote = "2001:0db8:0000::0020%eth0", .match = true},
      {.endpoint = "2001:db8::20", .remote = "[2001:db8::0.0.0.32]", .match = true},
      {.endpoint = "2001:db8::20%eth1", .remote = "2001:db8::20%eth0", .match = true},
      {.endpoint = "2001:db8::20", .remote = "2001:db8::21", .match = false},
      {.endpoint = "2001:db8::20", .remote = "2001:db8:0:0:1::20", .match = false},
      {.endpoint = "2001:db8::20", .remote = "2001:db8::20:0", .match = false},
      {.endpoint = "2001:db8::20", .remote = "3001:db8::20", .match = false},
      {.endpoint = "2001:db8::", .remote = "32.1.13.184", .match = false},
      {.endpoint = "::ffff:198.51.100.10", .remote = "::FFFF:c633:640a", .match = true},
      {.endpoint = "::ffff:198.51.100.10", .remote = "198.51.100.10", .match = false},
      {.endpoint = "::", .remote = "0:0:0:0:0:0:0:0", .match = true},
      {.endpoint = "::", .remote = "0.0.0.0", .match = false},
      {.endpoint = "0.0.0.0", .remote = "::", .match = false},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(std::string(row.endpoint) + " and " + std::string(row.remote));
    EXPECT_EQ(matches(endpointAt(row.endpoint, 443), row.remote, 443), row.match);
  }
}

TEST(MapSockets, InvalidRemoteAddressesDoNotMatch) {
  const std::vector<std::string> texts = {"",
                                          "<missing>",
                                          "host.example.com",
                                          "198.51.100.10 ",
                                          " 198.51.100.10",
                                          "198.51.100.10:443",
                                          "198.51.100.10.",
                                          "[198.51.100.10",
                                          std::string("198.51.100.10\0", 14)};
  for (const std::string& text : texts) {
    SCOPED_TRACE(text);
    EXPECT_FALSE(matches(endpointAt(kEndpointAddress, 443), text, 443));
    EXPECT_FALSE(matches(endpointAt(text, 443), text, 443));
    EXPECT_FALSE(matches(endpointAt("0.0.0.0", 443), text, 443));
  }
  forEveryCut(kEndpointAddress, [](std::string_view cut) {
    EXPECT_FALSE(matches(endpointAt(kEndpointAddress, 443), cut, 443)) << cut;
  });
  forEveryCut("2001:db8::20", [](std::string_view cut) {
    EXPECT_FALSE(matches(endpointAt("2001:db8::20", 443), cut, 443)) << cut;
  });
}

TEST(MapSockets, SocketsToAnotherPortOrAddressDoNotMatch) {
  EXPECT_FALSE(matches(endpointAt(kEndpointAddress, 443), kEndpointAddress, 8443));
  EXPECT_FALSE(matches(endpointAt(kEndpointAddress, 443), "203.0.113.200", 443));
}

TEST(MapSockets, AnUnknownEndpointMatchesNoSockets) {
  for (const std::string_view remote : {"", "0.0.0.0", "::", "198.51.100.10"}) {
    for (const std::uint32_t port : {0U, 443U}) {
      EXPECT_FALSE(matches(ActiveEndpoint{}, remote, port)) << remote << " " << port;
    }
  }
}

TEST(MapSockets, SocketsToOtherEndpointsAreOnlyObserved) {
  const SocketSource otherAddress = socketTo("203.0.113.200", kEndpointPort, "10.0.0.7");
  const SocketSource otherPort = socketTo(kEndpointAddress, kEndpointPort + 1, "10.0.0.7");
  const SocketSource toEndpoint = socketTo(kEndpointAddress, kEndpointPort, "192.168.1.50");
  EXPECT_EQ(describe(mappedFrom({otherAddress, toEndpoint, otherPort}).matches), "some 2");
  EXPECT_EQ(describe(mappedFrom({otherAddress, otherPort}).matches), "none");
  EXPECT_THAT(mappedFrom({otherAddress, toEndpoint, otherPort}).observed, ElementsAre(1, 1));
  EXPECT_THAT(mappedFrom({otherAddress, otherPort}).observed, ElementsAre(1, 0));
}

TEST(MapSockets, UnmappedAndAmbiguousSourcesAreNotObserved) {
  AdapterSnapshot adapters = makeDefaultAdapters();
  adapters.rows.push_back(makeInterfaceRow(20, 1, 1, {"10.0.0.7"}));
  const OrdinalTable ordinalTable = makeOrdinalTable(adapters);
  SocketSnapshot sockets;
  sockets.rows = {socketTo(kEndpointAddress, kEndpointPort, "10.0.0.7"),
                  socketTo(kEndpointAddress, kEndpointPort, "172.16.9.9"),
                  socketTo(kEndpointAddress, kEndpointPort, "<missing>")};
  const MappedSockets mapped = mapSockets(sockets, endpointAt(kEndpointAddress, kEndpointPort),
                                          makeAddressTable(adapters, ordinalTable), ordinalTable);
  EXPECT_THAT(mapped.observed, ElementsAre(0, 0, 0));
  EXPECT_EQ(describe(mapped.matches), "some unmapped ambiguous");
}

// mapSockets caches the text of the last match; a stale cache must not match.
TEST(MapSockets, EverySpellingOfTheEndpointMatchesAfterAnyOtherSocket) {
  struct Row {
    std::vector<std::string_view> remotes;  // each from 10.0.0.7
    bool lastMatches;
  };
  const std::vector<Row> rows = {
      {.remotes = {"198.51.100.10", "198.51.100.10"}, .lastMatches = true},
      {.remotes = {"198.51.100.10", "[198.51.100.10]", "198.051.100.010"}, .lastMatches = true},
      {.remotes = {"198.51.100.10", "198.51.100.1"}, .lastMatches = false},
      {.remotes = {"198.51.100.10", "198.51.100.100"}, .lastMatches = false},
      {.remotes = {"198.51.100.10", ""}, .lastMatches = false},
      {.remotes = {"", "", "198.51.100.10"}, .lastMatches = true},
      {.remotes = {"", ""}, .lastMatches = false},
      {.remotes = {"203.0.113.200", "203.0.113.200"}, .lastMatches = false},
      {.remotes = {"198.51.100.10", "203.0.113.200", "203.0.113.200"}, .lastMatches = false},
      {.remotes = {"198.51.100.10", "203.0.113.200", "198.51.100.10"}, .lastMatches = true},
  };
  for (const Row& row : rows) {
    std::vector<SocketSource> sockets;
    for (const std::string_view remote : row.remotes) {
      sockets.push_back(socketTo(remote, kEndpointPort));
    }
    sockets.back().localAddress = "192.168.1.50";
    const MatchSummary matches = mappedFrom(sockets).matches;
    const bool has2 = matches.ordinal == 2 || matches.severalInterfaces;
    EXPECT_EQ(has2, row.lastMatches) << row.remotes.back();
  }
}

TEST(MapSockets, ASocketToAnotherPortDoesNotAffectTheNextOne) {
  EXPECT_EQ(describe(mappedFrom({socketTo("203.0.113.200", kEndpointPort + 1),
                                 socketTo("203.0.113.200", kEndpointPort)})
                         .matches),
            "none");
}

TEST(MapSockets, AnOrdinalOutsideTheTableIsNotObserved) {
  const AdapterSnapshot adapters = makeDefaultAdapters();
  const AddressTable addressTable = makeAddressTable(adapters, makeOrdinalTable(adapters));
  SocketSnapshot sockets;
  sockets.rows = {socketTo(kEndpointAddress, kEndpointPort, "10.0.0.7"),
                  socketTo(kEndpointAddress, kEndpointPort, "192.168.1.50")};
  const ActiveEndpoint endpoint = endpointAt(kEndpointAddress, kEndpointPort);
  const OrdinalTable shorter = {.interfaceIndexes = {5}};
  EXPECT_THAT(mapSockets(sockets, endpoint, addressTable, shorter).observed, ElementsAre(1));
  EXPECT_THAT(mapSockets(sockets, endpoint, addressTable, {}).observed, IsEmpty());
  const AddressTable zeroOrdinal = {.ipv4 = {{.address = 0x0A000007U, .ordinal = 0}}, .ipv6 = {}};
  EXPECT_THAT(mapSockets(sockets, endpoint, zeroOrdinal, shorter).observed, ElementsAre(0));
}

TEST(MapSockets, WithoutSocketsThereAreNoSources) {
  EXPECT_EQ(describe(mappedFrom({}).matches), "none");
  EXPECT_THAT(mappedFrom({}).observed, ElementsAre(0, 0));
}

TEST(MatchSummary, KeepsTheFirstOrdinalAndWhetherOthersFollowed) {
  MatchSummary matches;
  EXPECT_EQ(describe(matches), "none");
  addMatch(matches, {.kind = MappingKind::Unique, .ordinal = 3});
  EXPECT_EQ(describe(matches), "some 3");
  addMatch(matches, {.kind = MappingKind::Unique, .ordinal = 3});
  EXPECT_EQ(describe(matches), "some 3");
  addMatch(matches, {.kind = MappingKind::Unique, .ordinal = 1});
  EXPECT_EQ(describe(matches), "some several 3");
  addMatch(matches, {});
  addMatch(matches, {.kind = MappingKind::Ambiguous, .ordinal = 0});
  EXPECT_EQ(describe(matches), "some unmapped ambiguous several 3");
}

}  // namespace
}  // namespace egress::test
