#include "egress/core/select_interface.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "egress/selfcheck/fixtures.h"

namespace egress::test {
namespace {

constexpr InterfaceMapping kUnmapped = {.kind = MappingKind::Unmapped, .ordinal = 0};
constexpr InterfaceMapping kAmbiguous = {.kind = MappingKind::Ambiguous, .ordinal = 0};

InterfaceMapping unique(std::int64_t ordinal) {
  return {.kind = MappingKind::Unique, .ordinal = ordinal};
}

// An input without failures: the policy applies, and the endpoint is known and has sockets from
// `sources`.
SelectionInput inputWith(const std::vector<InterfaceMapping>& sources) {
  SelectionInput input;
  input.policy = EgressSelectionPolicy::singbox_auto_detect;
  input.endpoint = ActiveEndpointStatus::OK;
  for (const InterfaceMapping& source : sources) addMatch(input.matches, source);
  return input;
}

// The status word, followed by the ordinal if there is one.
std::string wordOf(const Selection& selection) {
  std::string word = toString(selection.status);
  if (selection.ordinal) word.append(" ").append(std::to_string(*selection.ordinal));
  return word;
}

std::string selected(const SelectionInput& input) {
  static_assert(noexcept(selectInterface(input)));
  return wordOf(selectInterface(input));
}

// Maps the source addresses to `adapters` and selects.
std::string selectedFrom(const AdapterSnapshot& adapters,
                         const std::vector<std::string_view>& addresses) {
  const OrdinalTable table = makeOrdinalTable(adapters);
  std::vector<InterfaceMapping> sources;
  sources.reserve(addresses.size());
  for (const std::string_view address : addresses) {
    sources.push_back(mapAddressToInterface(adapters, table, address));
  }
  return selected(inputWith(sources));
}

TEST(SelectInterface, TheDefaultInputHasNoEndpoint) {
  EXPECT_EQ(selected(SelectionInput{}), "NOT_EVALUATED_ENDPOINT_UNAVAILABLE");
}

// Conditions 1 to 5 in order; bit i of a mask is set if condition i is true.
constexpr std::array<std::string_view, 5> kReasonsInOrder = {
    "NOT_APPLICABLE_OS_ROUTED", "NOT_EVALUATED_ENDPOINT_UNAVAILABLE",
    "NOT_EVALUATED_SOCKET_ENUM_FAILED", "NOT_EVALUATED_ADAPTER_ENUM_FAILED", "NO_MATCHING_SOCKET"};

bool isSet(std::size_t mask, std::size_t condition) {
  return ((mask >> condition) & 1U) != 0;
}

SelectionInput inputWithConditions(std::size_t mask) {
  SelectionInput input = inputWith({unique(2)});
  if (isSet(mask, 0)) input.policy = EgressSelectionPolicy::os_routed;
  if (isSet(mask, 1)) input.endpoint = ActiveEndpointStatus::ENDPOINT_NOT_NUMERIC;
  input.socketsFailed = isSet(mask, 2);
  input.adaptersFailed = isSet(mask, 3);
  if (isSet(mask, 4)) input.matches = {};
  return input;
}

TEST(SelectInterface, TheFirstTrueConditionDecides) {
  for (std::size_t mask = 1; mask < 32; ++mask) {
    SCOPED_TRACE(mask);
    std::size_t first = 0;
    while (!isSet(mask, first)) ++first;
    EXPECT_EQ(selected(inputWithConditions(mask)), kReasonsInOrder.at(first));
  }
  EXPECT_EQ(selected(inputWithConditions(0)), "OK 2");
}

TEST(SelectInterface, TheFirstFourConditionsPrecedeTheSources) {
  for (std::size_t condition = 0; condition < 4; ++condition) {
    SelectionInput input = inputWithConditions(std::size_t{1} << condition);
    for (const std::vector<InterfaceMapping>& sources : {std::vector<InterfaceMapping>{},
                                                         {kAmbiguous},
                                                         {kUnmapped},
                                                         {unique(1), unique(2)},
                                                         {unique(1), kUnmapped}}) {
      input.matches = inputWith(sources).matches;
      EXPECT_EQ(selected(input), kReasonsInOrder.at(condition));
    }
  }
}

TEST(SelectInterface, AFailedSocketSnapshotPrecedesAFailedAdapterSnapshot) {
  SelectionInput input = inputWith({unique(1)});
  input.socketsFailed = true;
  input.adaptersFailed = true;
  EXPECT_EQ(selected(input), "NOT_EVALUATED_SOCKET_ENUM_FAILED");
}

TEST(SelectInterface, OnlyOsRoutedMakesSelectionNotApplicable) {
  SelectionInput input = inputWith({unique(1)});
  for (const std::uint32_t number : {0U, 2U, 3U, 1000U}) {
    input.policy = EgressSelectionPolicy{number};
    EXPECT_EQ(selected(input), "OK 1") << number;
  }
  input.policy = EgressSelectionPolicy{1};
  EXPECT_EQ(selected(input), "NOT_APPLICABLE_OS_ROUTED");
}

TEST(SelectInterface, ThePolicyUnknownWithoutEndpointGivesEndpointUnavailable) {
  SelectionInput input = inputWith({unique(1)});
  input.policy = EgressSelectionPolicy::unknown;
  input.endpoint = ActiveEndpointStatus::NOT_EVALUATED_CONFIG_UNAVAILABLE;
  EXPECT_EQ(selected(input), "NOT_EVALUATED_ENDPOINT_UNAVAILABLE");
}

TEST(SelectInterface, EveryEndpointStatusButOkMakesTheEndpointUnavailable) {
  SelectionInput input = inputWith({unique(1)});
  for (std::uint32_t number = 0; number <= 18; ++number) {
    input.endpoint = ActiveEndpointStatus{number};
    EXPECT_EQ(selected(input), number == 0 ? "OK 1" : "NOT_EVALUATED_ENDPOINT_UNAVAILABLE")
        << number;
  }
  input.endpoint = ActiveEndpointStatus{std::numeric_limits<std::uint32_t>::max()};
  EXPECT_EQ(selected(input), "NOT_EVALUATED_ENDPOINT_UNAVAILABLE");
}

// One letter per socket to the endpoint: U is unmapped, A is ambiguous, a digit is the ordinal.
std::vector<InterfaceMapping> sourcesOf(std::string_view letters) {
  std::vector<InterfaceMapping> sources;
  for (const char letter : letters) {
    if (letter == 'U') sources.push_back(kUnmapped);
    if (letter == 'A') sources.push_back(kAmbiguous);
    if (letter >= '1' && letter <= '9') sources.push_back(unique(letter - '0'));
  }
  return sources;
}

TEST(SelectInterface, TheOrderOfSourcesDoesNotMatter) {
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
      EXPECT_EQ(selected(inputWith(sourcesOf(letters))), row.expected) << letters;
    } while (std::next_permutation(letters.begin(), letters.end()));
  }
}

TEST(SelectInterface, PartialMappingPrecedesMultipleInterfaces) {
  EXPECT_EQ(selected(inputWith(sourcesOf("12U"))), "PARTIAL_SOCKET_SOURCE_MAPPING");
}

TEST(SelectInterface, AmbiguityPrecedesEveryOtherSourceStatus) {
  for (const std::string_view letters : {"A", "AU", "A1", "A12", "A1U", "A12U"}) {
    EXPECT_EQ(selected(inputWith(sourcesOf(letters))), "ADDRESS_INTERFACE_AMBIGUOUS") << letters;
  }
}

TEST(SelectInterface, AnUnknownMappingKindCountsAsUnmapped) {
  const InterfaceMapping unknown = {.kind = MappingKind{3}, .ordinal = 1};
  EXPECT_EQ(selected(inputWith({unknown})), "SOCKET_SOURCE_ADDRESS_UNMAPPED");
}

TEST(SelectInterface, AnOrdinalKeepsAll64Bits) {
  const std::int64_t large = std::int64_t{1} << 32;
  EXPECT_EQ(selected(inputWith({unique(large)})), "OK 4294967296");
  EXPECT_EQ(selected(inputWith({unique(large + 1), unique(1)})),
            "MULTIPLE_MATCHING_SOCKET_INTERFACES");
}

TEST(SelectInterface, OneSocketSelectsItsInterface) {
  EXPECT_EQ(selectedFrom(makeDefaultAdapters(), {"10.0.0.7"}), "OK 1");
  EXPECT_EQ(selectedFrom(makeDefaultAdapters(), {"192.168.1.50"}), "OK 2");
}

TEST(SelectInterface, SeveralSocketsOfOneInterfaceSelectIt) {
  EXPECT_EQ(selectedFrom(makeDefaultAdapters(), {"10.0.0.7", "10.0.0.7", "[10.0.0.7]"}), "OK 1");
}

TEST(SelectInterface, SocketsOfTwoInterfacesAreMultipleWithoutAnOrdinal) {
  EXPECT_EQ(selectedFrom(makeDefaultAdapters(), {"10.0.0.7", "192.168.1.50"}),
            "MULTIPLE_MATCHING_SOCKET_INTERFACES");
}

TEST(SelectInterface, AMappedAndAnUnmappedSocketArePartialWithoutAnOrdinal) {
  EXPECT_EQ(selectedFrom(makeDefaultAdapters(), {"10.0.0.7", "172.16.9.9"}),
            "PARTIAL_SOCKET_SOURCE_MAPPING");
}

TEST(SelectInterface, AnAddressOfTwoAdaptersIsAmbiguousEvenIfAnotherSocketIsMapped) {
  AdapterSnapshot adapters = makeDefaultAdapters();
  adapters.rows.push_back(makeInterfaceRow(20, 1, 1, {"10.0.0.7", "10.0.0.9"}));
  EXPECT_EQ(selectedFrom(adapters, {"10.0.0.7"}), "ADDRESS_INTERFACE_AMBIGUOUS");
  EXPECT_EQ(selectedFrom(adapters, {"10.0.0.9", "10.0.0.7"}), "ADDRESS_INTERFACE_AMBIGUOUS");
  EXPECT_EQ(selectedFrom(adapters, {"10.0.0.7", "10.0.0.9"}), "ADDRESS_INTERFACE_AMBIGUOUS");
  EXPECT_EQ(selectedFrom(adapters, {"10.0.0.9"}), "OK 3");
}

}  // namespace
}  // namespace egress::test
