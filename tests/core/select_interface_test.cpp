#include "egress/core/select_interface.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "egress/selfcheck/fixtures.h"
#include "tests/support/exact_text.h"

namespace egress::test {
namespace {

constexpr std::string_view kEndpointAddress = "198.51.100.10";
constexpr std::uint32_t kEndpointPort = 443;
constexpr InterfaceMapping kUnmapped = {.kind = MappingKind::Unmapped, .ordinal = 0};
constexpr InterfaceMapping kAmbiguous = {.kind = MappingKind::Ambiguous, .ordinal = 0};

InterfaceMapping unique(std::int64_t ordinal) {
  return {.kind = MappingKind::Unique, .ordinal = ordinal};
}

MappedSocket toEndpoint(InterfaceMapping source) {
  return {.source = source, .remoteAddress = kEndpointAddress, .remotePort = kEndpointPort};
}

ActiveEndpoint endpointAt(std::string_view address, std::uint32_t port) {
  return {
      .status = ActiveEndpointStatus::OK, .address = parseNumericAddress(address), .port = port};
}

// Nothing failed, the policy applies, and the endpoint is known.
SelectionInput inputWith(std::vector<MappedSocket> sockets) {
  return {.policy = EgressSelectionPolicy::singbox_auto_detect,
          .endpoint = endpointAt(kEndpointAddress, kEndpointPort),
          .socketsFailed = false,
          .adaptersFailed = false,
          .sockets = std::move(sockets)};
}

// The status word, followed by the ordinal where one is set.
std::string wordOf(const Selection& selection) {
  std::string word = toString(selection.status);
  if (selection.ordinal) word.append(" ").append(std::to_string(*selection.ordinal));
  return word;
}

std::string selected(const SelectionInput& input) {
  static_assert(noexcept(selectInterface(input)));
  return wordOf(selectInterface(input));
}

bool matches(const ActiveEndpoint& endpoint, std::string_view remoteAddress,
             std::uint32_t remotePort) {
  const ExactText text(remoteAddress);
  SelectionInput input =
      inputWith({{.source = unique(3), .remoteAddress = text.view(), .remotePort = remotePort}});
  input.endpoint = endpoint;
  const std::string word = selected(input);
  EXPECT_TRUE(word == "OK 3" || word == "NO_MATCHING_SOCKET") << word;
  return word == "OK 3";
}

// Maps the sources of sockets to the endpoint onto `adapters`, as a diagnosis does.
std::string selectedFrom(const AdapterSnapshot& adapters,
                         const std::vector<std::string_view>& sources) {
  const OrdinalTable table = makeOrdinalTable(adapters);
  std::vector<MappedSocket> sockets;
  sockets.reserve(sources.size());
  for (const std::string_view source : sources) {
    sockets.push_back(toEndpoint(mapAddressToInterface(adapters, table, source)));
  }
  return selected(inputWith(std::move(sockets)));
}

TEST(SelectInterface, AFreshInputHasNoEndpoint) {
  EXPECT_EQ(selected(SelectionInput{}), "NOT_EVALUATED_ENDPOINT_UNAVAILABLE");
}

// Conditions 1 to 5 in their order; bit i of a mask says whether condition i holds.
constexpr std::array<std::string_view, 5> kReasonsInOrder = {
    "NOT_APPLICABLE_OS_ROUTED", "NOT_EVALUATED_ENDPOINT_UNAVAILABLE",
    "NOT_EVALUATED_SOCKET_ENUM_FAILED", "NOT_EVALUATED_ADAPTER_ENUM_FAILED", "NO_MATCHING_SOCKET"};

bool holds(std::size_t mask, std::size_t condition) {
  return ((mask >> condition) & 1U) != 0;
}

SelectionInput inputWhereConditionsHold(std::size_t mask) {
  SelectionInput input = inputWith({toEndpoint(unique(2))});
  if (holds(mask, 0)) input.policy = EgressSelectionPolicy::os_routed;
  if (holds(mask, 1)) input.endpoint.status = ActiveEndpointStatus::ENDPOINT_NOT_NUMERIC;
  input.socketsFailed = holds(mask, 2);
  input.adaptersFailed = holds(mask, 3);
  if (holds(mask, 4)) input.sockets.front().remotePort = kEndpointPort + 1;
  return input;
}

TEST(SelectInterface, TheFirstConditionThatHoldsDecidesWhateverHoldsAfterIt) {
  for (std::size_t mask = 1; mask < 32; ++mask) {
    SCOPED_TRACE(mask);
    std::size_t first = 0;
    while (!holds(mask, first)) ++first;
    EXPECT_EQ(selected(inputWhereConditionsHold(mask)), kReasonsInOrder.at(first));
  }
  EXPECT_EQ(selected(inputWhereConditionsHold(0)), "OK 2");
}

TEST(SelectInterface, TheFirstFourConditionsPrecedeEveryVerdictOnSources) {
  for (std::size_t condition = 0; condition < 4; ++condition) {
    SelectionInput input = inputWhereConditionsHold(std::size_t{1} << condition);
    for (const std::vector<MappedSocket>& sockets :
         {std::vector<MappedSocket>{},
          {toEndpoint(kAmbiguous)},
          {toEndpoint(kUnmapped)},
          {toEndpoint(unique(1)), toEndpoint(unique(2))},
          {toEndpoint(unique(1)), toEndpoint(kUnmapped)}}) {
      input.sockets = sockets;
      EXPECT_EQ(selected(input), kReasonsInOrder.at(condition));
    }
  }
}

TEST(SelectInterface, WhenSocketAndAdapterSnapshotBothFailedTheSocketsAreTheReason) {
  SelectionInput input = inputWith({toEndpoint(unique(1))});
  input.socketsFailed = true;
  input.adaptersFailed = true;
  EXPECT_EQ(selected(input), "NOT_EVALUATED_SOCKET_ENUM_FAILED");
}

TEST(SelectInterface, OnlyOsRoutedMakesSelectionNotApplicable) {
  SelectionInput input = inputWith({toEndpoint(unique(1))});
  for (const std::uint32_t number : {0U, 2U, 3U, 1000U}) {
    input.policy = EgressSelectionPolicy{number};
    EXPECT_EQ(selected(input), "OK 1") << number;
  }
  input.policy = EgressSelectionPolicy{1};
  EXPECT_EQ(selected(input), "NOT_APPLICABLE_OS_ROUTED");
}

TEST(SelectInterface, ThePolicyUnknownIsCaughtByTheMissingEndpoint) {
  SelectionInput input = inputWith({toEndpoint(unique(1))});
  input.policy = EgressSelectionPolicy::unknown;
  input.endpoint.status = ActiveEndpointStatus::NOT_EVALUATED_CONFIG_UNAVAILABLE;
  EXPECT_EQ(selected(input), "NOT_EVALUATED_ENDPOINT_UNAVAILABLE");
}

TEST(SelectInterface, EveryEndpointStatusButOkMakesTheEndpointUnavailable) {
  SelectionInput input = inputWith({toEndpoint(unique(1))});
  for (std::uint32_t number = 0; number <= 18; ++number) {
    input.endpoint.status = ActiveEndpointStatus{number};
    EXPECT_EQ(selected(input), number == 0 ? "OK 1" : "NOT_EVALUATED_ENDPOINT_UNAVAILABLE")
        << number;
  }
  input.endpoint.status = ActiveEndpointStatus{std::numeric_limits<std::uint32_t>::max()};
  EXPECT_EQ(selected(input), "NOT_EVALUATED_ENDPOINT_UNAVAILABLE");
}

TEST(SelectInterface, ThePortHasToBeTheEndpointsToo) {
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

TEST(SelectInterface, RemoteAddressesAreComparedByValueWithinOneFamily) {
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

TEST(SelectInterface, TextThatIsNoAddressIsNoRemoteEnd) {
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

// One letter a socket to the endpoint: U unmapped, A ambiguous, a digit the ordinal of its source.
std::vector<MappedSocket> socketsOf(std::string_view letters) {
  std::vector<MappedSocket> sockets;
  for (const char letter : letters) {
    if (letter == 'U') sockets.push_back(toEndpoint(kUnmapped));
    if (letter == 'A') sockets.push_back(toEndpoint(kAmbiguous));
    if (letter >= '1' && letter <= '9') sockets.push_back(toEndpoint(unique(letter - '0')));
  }
  return sockets;
}

TEST(SelectInterface, SourcesAreJudgedTogetherInWhateverOrderTheyCome) {
  struct Row {
    std::string_view sources;
    std::string_view expected;
  };
  const std::vector<Row> rows = {
      {.sources = "", .expected = "NO_MATCHING_SOCKET"},
      {.sources = "1", .expected = "OK 1"},
      {.sources = "7", .expected = "OK 7"},
      {.sources = "222", .expected = "OK 2"},
      {.sources = "12", .expected = "MULTIPLE_MATCHING_SOCKET_INTERFACES"},
      {.sources = "112", .expected = "MULTIPLE_MATCHING_SOCKET_INTERFACES"},
      {.sources = "123", .expected = "MULTIPLE_MATCHING_SOCKET_INTERFACES"},
      {.sources = "1U", .expected = "PARTIAL_SOCKET_SOURCE_MAPPING"},
      {.sources = "11U", .expected = "PARTIAL_SOCKET_SOURCE_MAPPING"},
      {.sources = "1UU", .expected = "PARTIAL_SOCKET_SOURCE_MAPPING"},
      {.sources = "12U", .expected = "PARTIAL_SOCKET_SOURCE_MAPPING"},
      {.sources = "U", .expected = "SOCKET_SOURCE_ADDRESS_UNMAPPED"},
      {.sources = "UU", .expected = "SOCKET_SOURCE_ADDRESS_UNMAPPED"},
      {.sources = "A", .expected = "ADDRESS_INTERFACE_AMBIGUOUS"},
      {.sources = "AA", .expected = "ADDRESS_INTERFACE_AMBIGUOUS"},
      {.sources = "AU", .expected = "ADDRESS_INTERFACE_AMBIGUOUS"},
      {.sources = "1A", .expected = "ADDRESS_INTERFACE_AMBIGUOUS"},
      {.sources = "12A", .expected = "ADDRESS_INTERFACE_AMBIGUOUS"},
      {.sources = "1AU", .expected = "ADDRESS_INTERFACE_AMBIGUOUS"},
      {.sources = "12AU", .expected = "ADDRESS_INTERFACE_AMBIGUOUS"},
  };
  for (const Row& row : rows) {
    std::string letters(row.sources);
    std::ranges::sort(letters);
    do {
      EXPECT_EQ(selected(inputWith(socketsOf(letters))), row.expected) << letters;
    } while (std::next_permutation(letters.begin(), letters.end()));
  }
}

TEST(SelectInterface, PartialMappingPrecedesMultipleInterfaces) {
  EXPECT_EQ(selected(inputWith(socketsOf("12U"))), "PARTIAL_SOCKET_SOURCE_MAPPING");
}

TEST(SelectInterface, AmbiguityPrecedesEveryOtherVerdictOnSources) {
  for (const std::string_view letters : {"A", "AU", "A1", "A12", "A1U", "A12U"}) {
    EXPECT_EQ(selected(inputWith(socketsOf(letters))), "ADDRESS_INTERFACE_AMBIGUOUS") << letters;
  }
}

TEST(SelectInterface, ASourceOfNoKnownKindCountsAsUnmapped) {
  const InterfaceMapping unknown = {.kind = MappingKind{3}, .ordinal = 1};
  EXPECT_EQ(selected(inputWith({toEndpoint(unknown)})), "SOCKET_SOURCE_ADDRESS_UNMAPPED");
}

TEST(SelectInterface, SocketsThatGoElsewhereHaveNoSay) {
  for (const InterfaceMapping& source : {kUnmapped, kAmbiguous, unique(9)}) {
    MappedSocket otherAddress = toEndpoint(source);
    otherAddress.remoteAddress = "203.0.113.200";
    MappedSocket otherPort = toEndpoint(source);
    otherPort.remotePort = kEndpointPort + 1;
    EXPECT_EQ(selected(inputWith({otherAddress, toEndpoint(unique(2)), otherPort})), "OK 2");
    EXPECT_EQ(selected(inputWith({otherAddress, otherPort})), "NO_MATCHING_SOCKET");
  }
}

TEST(SelectInterface, AnOrdinalKeepsAll64Bits) {
  const std::int64_t large = std::int64_t{1} << 32;
  EXPECT_EQ(selected(inputWith({toEndpoint(unique(large))})), "OK 4294967296");
  EXPECT_EQ(selected(inputWith({toEndpoint(unique(large + 1)), toEndpoint(unique(1))})),
            "MULTIPLE_MATCHING_SOCKET_INTERFACES");
}

TEST(SelectInterface, OneMatchingSocketFromAnAddressOfOneAdapterSelectsIt) {
  EXPECT_EQ(selectedFrom(makeDefaultAdapters(), {"10.0.0.7"}), "OK 1");
  EXPECT_EQ(selectedFrom(makeDefaultAdapters(), {"192.168.1.50"}), "OK 2");
}

TEST(SelectInterface, SeveralMatchingSocketsFromOneInterfaceSelectIt) {
  EXPECT_EQ(selectedFrom(makeDefaultAdapters(), {"10.0.0.7", "10.0.0.7", "[10.0.0.7]"}), "OK 1");
}

TEST(SelectInterface, MatchingSocketsFromTwoAdaptersAreMultipleWithoutAnOrdinal) {
  EXPECT_EQ(selectedFrom(makeDefaultAdapters(), {"10.0.0.7", "192.168.1.50"}),
            "MULTIPLE_MATCHING_SOCKET_INTERFACES");
}

TEST(SelectInterface, OneMappedSocketAndOneWhoseSourceNoAdapterOwnsArePartialWithoutAnOrdinal) {
  EXPECT_EQ(selectedFrom(makeDefaultAdapters(), {"10.0.0.7", "172.16.9.9"}),
            "PARTIAL_SOCKET_SOURCE_MAPPING");
}

TEST(SelectInterface, SocketsToAnotherPortOrToAnotherAddressDoNotMatch) {
  EXPECT_FALSE(matches(endpointAt(kEndpointAddress, 443), kEndpointAddress, 8443));
  EXPECT_FALSE(matches(endpointAt(kEndpointAddress, 443), "203.0.113.200", 443));
}

TEST(SelectInterface, ASourceHeldByTwoAdaptersIsAmbiguousEvenBesideOneThatMapsCleanly) {
  AdapterSnapshot adapters = makeDefaultAdapters();
  adapters.rows.push_back(makeInterfaceRow(20, 1, 1, {"10.0.0.7", "10.0.0.9"}));
  EXPECT_EQ(selectedFrom(adapters, {"10.0.0.7"}), "ADDRESS_INTERFACE_AMBIGUOUS");
  EXPECT_EQ(selectedFrom(adapters, {"10.0.0.9", "10.0.0.7"}), "ADDRESS_INTERFACE_AMBIGUOUS");
  EXPECT_EQ(selectedFrom(adapters, {"10.0.0.7", "10.0.0.9"}), "ADDRESS_INTERFACE_AMBIGUOUS");
  EXPECT_EQ(selectedFrom(adapters, {"10.0.0.9"}), "OK 3");
}

}  // namespace
}  // namespace egress::test
