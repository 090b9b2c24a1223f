#include "egress/core/status_words.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "egress/config/selector_answer.h"
#include "egress/json/json_kind.h"

namespace egress::test {
namespace {

template <typename Status>
struct WordRow {
  std::uint32_t number;
  Status status;
  std::string_view word;
};

// Checks all words of an enumeration; the index of a row is its number.
template <typename Status>
void expectVocabulary(const std::vector<WordRow<Status>>& rows,
                      const std::vector<std::string>& declared) {
  static_assert(sizeof(Status) == sizeof(std::uint32_t));
  static_assert(noexcept(toString(Status{})));
  ASSERT_EQ(declared.size(), rows.size());
  for (std::size_t i = 0; i < rows.size(); ++i) {
    SCOPED_TRACE(rows[i].word);
    EXPECT_EQ(rows[i].number, i);
    EXPECT_EQ(static_cast<std::uint32_t>(rows[i].status), rows[i].number);
    EXPECT_EQ(toString(rows[i].status), rows[i].word);
    EXPECT_EQ(declared[i], rows[i].word);
  }
}

TEST(StatusWords, ConfigStatusHasItsNumbersAndWords) {
  using enum ConfigStatus;
  const std::vector<WordRow<ConfigStatus>> rows = {
      {.number = 0, .status = OK, .word = "OK"},
      {.number = 1, .status = NO_CONFIG, .word = "NO_CONFIG"},
      {.number = 2, .status = JSON_PARSE_FAILED, .word = "JSON_PARSE_FAILED"},
      {.number = 3, .status = AUTO_DETECT_MISSING, .word = "AUTO_DETECT_MISSING"},
      {.number = 4, .status = AUTO_DETECT_INVALID, .word = "AUTO_DETECT_INVALID"},
  };
  expectVocabulary(rows, declaredConfigStatus());
}

TEST(StatusWords, EgressSelectionPolicyHasItsNumbersAndWords) {
  using enum EgressSelectionPolicy;
  const std::vector<WordRow<EgressSelectionPolicy>> rows = {
      {.number = 0, .status = singbox_auto_detect, .word = "singbox_auto_detect"},
      {.number = 1, .status = os_routed, .word = "os_routed"},
      {.number = 2, .status = unknown, .word = "unknown"},
  };
  expectVocabulary(rows, declaredEgressSelectionPolicy());
}

TEST(StatusWords, ActiveEndpointStatusHasItsNumbersAndWords) {
  using enum ActiveEndpointStatus;
  const std::vector<WordRow<ActiveEndpointStatus>> rows = {
      {.number = 0, .status = OK, .word = "OK"},
      {.number = 1,
       .status = NOT_EVALUATED_CONFIG_UNAVAILABLE,
       .word = "NOT_EVALUATED_CONFIG_UNAVAILABLE"},
      {.number = 2, .status = SELECTOR_TRANSPORT_FAILED, .word = "SELECTOR_TRANSPORT_FAILED"},
      {.number = 3, .status = SELECTOR_RESPONSE_MALFORMED, .word = "SELECTOR_RESPONSE_MALFORMED"},
      {.number = 4, .status = SELECTOR_NOW_MISSING, .word = "SELECTOR_NOW_MISSING"},
      {.number = 5, .status = SELECTOR_CYCLE, .word = "SELECTOR_CYCLE"},
      {.number = 6, .status = SELECTOR_DEPTH_EXCEEDED, .word = "SELECTOR_DEPTH_EXCEEDED"},
      {.number = 7, .status = DETOUR_CYCLE, .word = "DETOUR_CYCLE"},
      {.number = 8, .status = DETOUR_DEPTH_EXCEEDED, .word = "DETOUR_DEPTH_EXCEEDED"},
      {.number = 9, .status = OUTBOUND_NOT_FOUND, .word = "OUTBOUND_NOT_FOUND"},
      {.number = 10, .status = LEAF_HAS_NO_REMOTE_ENDPOINT, .word = "LEAF_HAS_NO_REMOTE_ENDPOINT"},
      {.number = 11, .status = ENDPOINT_MISSING, .word = "ENDPOINT_MISSING"},
      {.number = 12, .status = ENDPOINT_INVALID, .word = "ENDPOINT_INVALID"},
      {.number = 13, .status = ENDPOINT_NOT_NUMERIC, .word = "ENDPOINT_NOT_NUMERIC"},
      {.number = 14, .status = ENDPOINT_NOT_SINGLETON, .word = "ENDPOINT_NOT_SINGLETON"},
      {.number = 15, .status = TRANSPORT_UNSUPPORTED, .word = "TRANSPORT_UNSUPPORTED"},
      {.number = 16, .status = TRANSPORT_UNKNOWN, .word = "TRANSPORT_UNKNOWN"},
  };
  expectVocabulary(rows, declaredActiveEndpointStatus());
}

TEST(StatusWords, SelectionStatusHasItsNumbersAndWords) {
  using enum SelectionStatus;
  const std::vector<WordRow<SelectionStatus>> rows = {
      {.number = 0, .status = OK, .word = "OK"},
      {.number = 1, .status = NOT_APPLICABLE_OS_ROUTED, .word = "NOT_APPLICABLE_OS_ROUTED"},
      {.number = 2,
       .status = NOT_EVALUATED_ENDPOINT_UNAVAILABLE,
       .word = "NOT_EVALUATED_ENDPOINT_UNAVAILABLE"},
      {.number = 3,
       .status = NOT_EVALUATED_SOCKET_ENUM_FAILED,
       .word = "NOT_EVALUATED_SOCKET_ENUM_FAILED"},
      {.number = 4,
       .status = NOT_EVALUATED_ADAPTER_ENUM_FAILED,
       .word = "NOT_EVALUATED_ADAPTER_ENUM_FAILED"},
      {.number = 5, .status = NO_MATCHING_SOCKET, .word = "NO_MATCHING_SOCKET"},
      {.number = 6,
       .status = SOCKET_SOURCE_ADDRESS_UNMAPPED,
       .word = "SOCKET_SOURCE_ADDRESS_UNMAPPED"},
      {.number = 7,
       .status = PARTIAL_SOCKET_SOURCE_MAPPING,
       .word = "PARTIAL_SOCKET_SOURCE_MAPPING"},
      {.number = 8,
       .status = MULTIPLE_MATCHING_SOCKET_INTERFACES,
       .word = "MULTIPLE_MATCHING_SOCKET_INTERFACES"},
      {.number = 9, .status = ADDRESS_INTERFACE_AMBIGUOUS, .word = "ADDRESS_INTERFACE_AMBIGUOUS"},
  };
  expectVocabulary(rows, declaredSelectionStatus());
}

TEST(StatusWords, SnapshotStatusesHaveTheirNumbersAndWords) {
  const std::vector<WordRow<InterfacesStatus>> interfaces = {
      {.number = 0, .status = InterfacesStatus::OK, .word = "OK"},
      {.number = 1, .status = InterfacesStatus::ADAPTER_ENUM_FAILED, .word = "ADAPTER_ENUM_FAILED"},
  };
  expectVocabulary(interfaces, declaredInterfacesStatus());

  const std::vector<WordRow<DefaultRoutesStatus>> routes = {
      {.number = 0, .status = DefaultRoutesStatus::OK, .word = "OK"},
      {.number = 1, .status = DefaultRoutesStatus::ROUTE_ENUM_FAILED, .word = "ROUTE_ENUM_FAILED"},
      {.number = 2,
       .status = DefaultRoutesStatus::SNAPSHOT_INCONSISTENT,
       .word = "SNAPSHOT_INCONSISTENT"},
  };
  expectVocabulary(routes, declaredDefaultRoutesStatus());

  const std::vector<WordRow<SocketSourcesStatus>> sockets = {
      {.number = 0, .status = SocketSourcesStatus::OK, .word = "OK"},
      {.number = 1,
       .status = SocketSourcesStatus::SOCKET_ENUM_FAILED,
       .word = "SOCKET_ENUM_FAILED"},
  };
  expectVocabulary(sockets, declaredSocketSourcesStatus());

  const std::vector<WordRow<InterfaceOrdinalStatus>> ordinals = {
      {.number = 0, .status = InterfaceOrdinalStatus::OK, .word = "OK"},
      {.number = 1,
       .status = InterfaceOrdinalStatus::ROUTE_INTERFACE_UNMAPPED,
       .word = "ROUTE_INTERFACE_UNMAPPED"},
  };
  expectVocabulary(ordinals, declaredInterfaceOrdinalStatus());
}

template <typename Status>
void expectCatchAll(std::uint32_t lastNumber, std::string_view lastWord) {
  SCOPED_TRACE(lastWord);
  EXPECT_NE(toString(Status{lastNumber - 1}), lastWord);
  EXPECT_EQ(toString(Status{lastNumber}), lastWord);
  constexpr std::uint32_t kMax = std::numeric_limits<std::uint32_t>::max();
  for (const std::uint32_t number : {lastNumber + 1, lastNumber + 2, 256U, 1000U, 65536U,
                                     0x7FFFFFFFU, 0x80000000U, kMax - 1, kMax}) {
    EXPECT_EQ(toString(Status{number}), lastWord) << number;
  }
}

TEST(StatusWords, UnknownValuesGiveTheLastWord) {
  expectCatchAll<ConfigStatus>(4, "AUTO_DETECT_INVALID");
  expectCatchAll<EgressSelectionPolicy>(2, "unknown");
  expectCatchAll<ActiveEndpointStatus>(16, "TRANSPORT_UNKNOWN");
  expectCatchAll<SelectionStatus>(9, "ADDRESS_INTERFACE_AMBIGUOUS");
  expectCatchAll<InterfacesStatus>(1, "ADAPTER_ENUM_FAILED");
  expectCatchAll<DefaultRoutesStatus>(2, "SNAPSHOT_INCONSISTENT");
  expectCatchAll<SocketSourcesStatus>(1, "SOCKET_ENUM_FAILED");
  expectCatchAll<InterfaceOrdinalStatus>(1, "ROUTE_INTERFACE_UNMAPPED");
}

TEST(StatusWords, TheLastValueAndAnUnknownOneGiveTheSameWord) {
  EXPECT_STREQ(toString(ActiveEndpointStatus{16}), "TRANSPORT_UNKNOWN");
  EXPECT_STREQ(toString(ActiveEndpointStatus{1000}), "TRANSPORT_UNKNOWN");
  EXPECT_STREQ(toString(ConfigStatus{4}), "AUTO_DETECT_INVALID");
  EXPECT_STREQ(toString(ConfigStatus{7}), "AUTO_DETECT_INVALID");
  EXPECT_STREQ(toString(EgressSelectionPolicy{2}), "unknown");
  EXPECT_STREQ(toString(EgressSelectionPolicy{5}), "unknown");
}

template <typename Status>
std::set<std::string> producedWords() {
  std::set<std::string> words = {toString(Status{std::numeric_limits<std::uint32_t>::max()})};
  for (std::uint32_t number = 0; number < 1000; ++number) words.insert(toString(Status{number}));
  return words;
}

template <typename Status>
void expectProducedWordsAreTheDeclaredOnes(const std::vector<std::string>& declared) {
  const std::set<std::string> distinct(declared.begin(), declared.end());
  EXPECT_EQ(distinct.size(), declared.size()) << "a word is declared twice";
  EXPECT_EQ(producedWords<Status>(), distinct);
}

TEST(StatusWords, ProducedWordsAreExactlyTheDeclaredOnes) {
  expectProducedWordsAreTheDeclaredOnes<ConfigStatus>(declaredConfigStatus());
  expectProducedWordsAreTheDeclaredOnes<EgressSelectionPolicy>(declaredEgressSelectionPolicy());
  expectProducedWordsAreTheDeclaredOnes<ActiveEndpointStatus>(declaredActiveEndpointStatus());
  expectProducedWordsAreTheDeclaredOnes<SelectionStatus>(declaredSelectionStatus());
  expectProducedWordsAreTheDeclaredOnes<InterfacesStatus>(declaredInterfacesStatus());
  expectProducedWordsAreTheDeclaredOnes<DefaultRoutesStatus>(declaredDefaultRoutesStatus());
  expectProducedWordsAreTheDeclaredOnes<SocketSourcesStatus>(declaredSocketSourcesStatus());
  expectProducedWordsAreTheDeclaredOnes<InterfaceOrdinalStatus>(declaredInterfaceOrdinalStatus());
}

using Getter = const std::vector<std::string>& (*)();

struct GetterRow {
  std::string_view key;
  Getter getter;
};

constexpr std::array<GetterRow, 8> kGetters = {{
    {.key = "configStatus", .getter = declaredConfigStatus},
    {.key = "egressSelectionPolicy", .getter = declaredEgressSelectionPolicy},
    {.key = "activeEndpointStatus", .getter = declaredActiveEndpointStatus},
    {.key = "selectionStatus", .getter = declaredSelectionStatus},
    {.key = "interfacesStatus", .getter = declaredInterfacesStatus},
    {.key = "defaultRoutesStatus", .getter = declaredDefaultRoutesStatus},
    {.key = "socketSourcesStatus", .getter = declaredSocketSourcesStatus},
    {.key = "interfaceOrdinalStatus", .getter = declaredInterfaceOrdinalStatus},
}};

TEST(StatusWords, AGetterReturnsTheSameListTwice) {
  for (const GetterRow& row : kGetters) {
    SCOPED_TRACE(row.key);
    const std::vector<std::string>& first = row.getter();
    const std::vector<std::string> contents = first;
    EXPECT_EQ(&row.getter(), &first);
    EXPECT_EQ(row.getter(), contents);
  }
}

TEST(StatusWords, EveryGetterHasItsOwnList) {
  std::set<const std::vector<std::string>*> lists;
  for (const GetterRow& row : kGetters) lists.insert(&row.getter());
  EXPECT_EQ(lists.size(), kGetters.size());
}

TEST(StatusWords, ConcurrentCallsReturnTheSameList) {
#ifdef __wasi__
  GTEST_SKIP() << "WASI has no threads";
#else
  for (const GetterRow& row : kGetters) {
    SCOPED_TRACE(row.key);
    std::array<const std::vector<std::string>*, 8> lists{};
    std::vector<std::thread> threads;
    threads.reserve(lists.size());
    for (const std::vector<std::string>*& list : lists) {
      threads.emplace_back([&list, &row] { list = &row.getter(); });
    }
    for (std::thread& thread : threads) thread.join();
    for (const std::vector<std::string>* list : lists) EXPECT_EQ(list, &row.getter());
  }
#endif
}

TEST(StatusWords, EveryListExceptThePolicyStartsWithOk) {
  for (const GetterRow& row : kGetters) {
    SCOPED_TRACE(row.key);
    const std::vector<std::string>& words = row.getter();
    const auto okCount = std::count(words.begin(), words.end(), "OK");
    if (row.key == "egressSelectionPolicy") {
      EXPECT_EQ(okCount, 0);
      continue;
    }
    EXPECT_EQ(okCount, 1);
    EXPECT_EQ(words.front(), "OK");
  }
}

bool isLowerCaseWord(std::string_view word) {
  return std::all_of(word.begin(), word.end(),
                     [](unsigned char c) { return std::islower(c) != 0 || c == '_'; });
}

bool isUpperCaseWord(std::string_view word) {
  return std::all_of(word.begin(), word.end(),
                     [](unsigned char c) { return std::isupper(c) != 0 || c == '_'; });
}

TEST(StatusWords, PolicyWordsAreLowerCaseAndOthersUpperCase) {
  for (const GetterRow& row : kGetters) {
    for (const std::string& word : row.getter()) {
      SCOPED_TRACE(word);
      EXPECT_EQ(isLowerCaseWord(word), row.key == "egressSelectionPolicy");
      EXPECT_EQ(isUpperCaseWord(word), row.key != "egressSelectionPolicy");
    }
  }
}

// Every declared word parses to its value; other texts are rejected.
template <typename Status>
void expectInverse(const WordList& declared, std::optional<Status> (*parse)(std::string_view)) {
  for (std::uint32_t number = 0; number < declared.size(); ++number) {
    EXPECT_EQ(parse(declared[number]), Status{number}) << declared[number];
  }
  for (const std::string_view word : {"", "ok", "OK ", "O", "<missing>", "UNKNOWN", "Unknown"}) {
    EXPECT_EQ(parse(word), std::nullopt) << word;
  }
}

TEST(StatusWords, EveryWordParsesToItsValue) {
  expectInverse(declaredConfigStatus(), parseConfigStatus);
  expectInverse(declaredEgressSelectionPolicy(), parseEgressSelectionPolicy);
  expectInverse(declaredActiveEndpointStatus(), parseActiveEndpointStatus);
  expectInverse(declaredSelectionStatus(), parseSelectionStatus);
  expectInverse(declaredInterfacesStatus(), parseInterfacesStatus);
  expectInverse(declaredDefaultRoutesStatus(), parseDefaultRoutesStatus);
  expectInverse(declaredSocketSourcesStatus(), parseSocketSourcesStatus);
  expectInverse(declaredInterfaceOrdinalStatus(), parseInterfaceOrdinalStatus);
}

TEST(StatusWords, AnswerStatusesConvertToNamesAndBack) {
  using enum SelectorAnswerStatus;
  constexpr auto kRows = std::to_array<std::pair<SelectorAnswerStatus, std::string_view>>({
      {Ok, "Ok"},
      {TransportFailed, "TransportFailed"},
      {Malformed, "Malformed"},
      {NowMissing, "NowMissing"},
  });
  for (const auto& [status, name] : kRows) {
    EXPECT_EQ(toString(status), name);
    EXPECT_EQ(parseSelectorAnswerStatus(name), status);
  }
  // The diagnosis treats any other value as Ok.
  for (const int number : {-1, 4, 1000}) {
    EXPECT_STREQ(toString(static_cast<SelectorAnswerStatus>(number)), "Ok");
  }
  for (const std::string_view name : {"", "ok", "OK", "Malforme", "NowMissing "}) {
    EXPECT_EQ(parseSelectorAnswerStatus(name), std::nullopt) << name;
  }
}

TEST(StatusWords, JsonKindsHaveTheirNames) {
  using enum JsonKind;
  constexpr auto kRows = std::to_array<std::pair<JsonKind, std::string_view>>({
      {Null, "Null"},
      {Bool, "Bool"},
      {Integer, "Integer"},
      {Number, "Number"},
      {String, "String"},
      {Array, "Array"},
      {Object, "Object"},
  });
  for (const auto& [kind, name] : kRows) EXPECT_EQ(toString(kind), name);
  EXPECT_STREQ(toString(JsonKind{7}), "Object");
}

TEST(StatusWords, ToStringReturnsConstants) {
  const char* const first = toString(SelectionStatus::NO_MATCHING_SOCKET);
  EXPECT_EQ(toString(SelectionStatus::NO_MATCHING_SOCKET), first);
  EXPECT_EQ(toString(SelectionStatus{1000}),
            toString(SelectionStatus::ADDRESS_INTERFACE_AMBIGUOUS));
}

}  // namespace
}  // namespace egress::test
