#include "egress_snapshot/explanations.h"

#include <algorithm>
#include <array>
#include <map>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "egress/core/diagnose_egress.h"
#include "egress/core/report_table.h"
#include "egress_snapshot/diagnose_snapshot.h"
#include "egress_snapshot/explained_words.h"
#include "egress_snapshot/snapshot_json.h"
#include "tests/support/joined.h"

namespace egress::snapshot {
namespace {

using egress::test::joined;

struct KeyWithWords {
  std::string key;
  WordList words;
};

// The keys of the report table whose values have explanations, and that of the cross-check, with
// all their values.
std::vector<KeyWithWords> keysWithWords() {
  std::vector<KeyWithWords> keys;
  const auto add = [&keys](std::string key, const ReportField& field) {
    if (field.declaredWords != nullptr) keys.push_back({std::move(key), field.declaredWords()});
  };
  for (const ReportMemberField& member : kReportMembers) {
    const std::string key(member.field.key);
    add(key, member.field);
    if (key == "selectorHintStale") keys.push_back({key, {"false", "true"}});
    for (const ReportField& column : member.columns) {
      add(joined({key, "[].", column.key}), column);
    }
  }
  keys.push_back({"crossCheck", {kCrossCheckStatusWords.begin(), kCrossCheckStatusWords.end()}});
  return keys;
}

bool isEmpty(const Explanation& explanation) {
  return explanation.meaning.empty() || explanation.usualCause.empty() ||
         explanation.whatToDo.empty();
}

bool isSame(const Explanation& a, const Explanation& b) {
  return a.meaning == b.meaning && a.usualCause == b.usualCause && a.whatToDo == b.whatToDo;
}

TEST(Explanations, TheKeysAreThoseOfTheReportTableInItsOrderAndTheCrossCheck) {
  std::vector<std::string> wanted;
  for (const KeyWithWords& row : keysWithWords()) wanted.push_back(row.key);
  std::vector<std::string> found;
  for (const ExplainedKey& row : explainedKeys()) {
    found.emplace_back(row.key);
    EXPECT_TRUE(row.question.find('?') != std::string_view::npos) << row.key;
  }
  EXPECT_EQ(found, wanted);
  EXPECT_EQ(found.size(), 10U);
}

TEST(Explanations, EveryWordOfAKeyHasItsOwn) {
  std::size_t count = 0;
  for (const KeyWithWords& row : keysWithWords()) {
    std::set<std::string_view> meanings;
    for (const std::string& word : row.words) {
      SCOPED_TRACE(joined({row.key, " ", word}));
      const std::optional<Explanation> explanation = explainWord(row.key, word);
      ASSERT_TRUE(explanation);
      EXPECT_FALSE(isEmpty(*explanation));
      meanings.insert(explanation->meaning);
      ++count;
    }
    EXPECT_EQ(meanings.size(), row.words.size()) << row.key;
  }
  EXPECT_EQ(count, 5U + 3U + 17U + 2U + 10U + 2U + 3U + 2U + 2U + 8U);
}

TEST(Explanations, NoOtherWordOfAKeyHasOne) {
  std::set<std::string> allWords = {
      "", " ", "ok", "OK ", std::string("OK\0", 3), "True", "null", "0", "1", "yes", "UNKNOWN"};
  for (const KeyWithWords& row : keysWithWords()) {
    for (const std::string& word : row.words) {
      allWords.insert(word);
      allWords.insert(word.substr(1));
      allWords.insert(word.substr(0, word.size() - 1));
      allWords.insert(word + "_");
    }
  }
  for (const KeyWithWords& row : keysWithWords()) {
    const auto& explain = std::ranges::find(explainedKeys(), row.key, &ExplainedKey::key)->explain;
    for (const std::string& word : allWords) {
      const bool isDeclared = std::ranges::find(row.words, word) != row.words.end();
      EXPECT_EQ(explainWord(row.key, word).has_value(), isDeclared) << row.key << " " << word;
      EXPECT_EQ(explain(word).has_value(), isDeclared) << row.key << " " << word;
    }
  }
}

TEST(Explanations, NoOtherKeyHasOne) {
  for (const std::string_view key :
       {"", "ConfigStatus", "configStatus ", "interfaceOrdinalStatus", "defaultRoutes",
        "defaultRoutes.interfaceOrdinalStatus", "interfaces", "selectedInterfaceOrdinal",
        "CrossCheck", "crossCheck.status"}) {
    EXPECT_FALSE(explainWord(key, "OK")) << key;
  }
  EXPECT_FALSE(explainWord("autoDetectInterfaceEnabled", "true"));
}

TEST(Explanations, EachKeyExplainsItsOwnVocabulary) {
  // "OK" is a word of many keys, each with its own meaning or place.
  EXPECT_TRUE(isSame(*explainWord("configStatus", "OK"), explanationOf(ConfigStatus::OK)));
  EXPECT_TRUE(isSame(*explainWord("egressSelectionPolicy", "os_routed"),
                     explanationOf(EgressSelectionPolicy::os_routed)));
  EXPECT_TRUE(
      isSame(*explainWord("activeEndpointStatus", "OK"), explanationOf(ActiveEndpointStatus::OK)));
  EXPECT_TRUE(isSame(*explainWord("selectorHintStale", "true"), explainSelectorHintStale(true)));
  EXPECT_TRUE(isSame(*explainWord("selectorHintStale", "false"), explainSelectorHintStale(false)));
  EXPECT_TRUE(isSame(*explainWord("selectionStatus", "OK"), explanationOf(SelectionStatus::OK)));
  EXPECT_TRUE(isSame(*explainWord("interfacesStatus", "OK"), explanationOf(InterfacesStatus::OK)));
  EXPECT_TRUE(
      isSame(*explainWord("defaultRoutesStatus", "OK"), explanationOf(DefaultRoutesStatus::OK)));
  EXPECT_TRUE(isSame(*explainWord("defaultRoutes[].interfaceOrdinalStatus", "OK"),
                     explanationOf(InterfaceOrdinalStatus::OK)));
  EXPECT_TRUE(
      isSame(*explainWord("socketSourcesStatus", "OK"), explanationOf(SocketSourcesStatus::OK)));
  EXPECT_TRUE(
      isSame(*explainWord("crossCheck", "AGREES"), explanationOf(CrossCheckStatus::AGREES)));
}

template <typename Status>
void expectLastOutside(Status last) {
  const Explanation outside = explanationOf(static_cast<Status>(99));
  EXPECT_TRUE(isSame(outside, explanationOf(last)));
  EXPECT_FALSE(isEmpty(outside));
}

TEST(Explanations, AValueOutsideItsEnumerationHasThatOfTheLastWord) {
  expectLastOutside(ConfigStatus::AUTO_DETECT_INVALID);
  expectLastOutside(EgressSelectionPolicy::unknown);
  expectLastOutside(ActiveEndpointStatus::TRANSPORT_UNKNOWN);
  expectLastOutside(SelectionStatus::ADDRESS_INTERFACE_AMBIGUOUS);
  expectLastOutside(InterfacesStatus::ADAPTER_ENUM_FAILED);
  expectLastOutside(DefaultRoutesStatus::SNAPSHOT_INCONSISTENT);
  expectLastOutside(InterfaceOrdinalStatus::ROUTE_INTERFACE_UNMAPPED);
  expectLastOutside(SocketSourcesStatus::SOCKET_ENUM_FAILED);
  expectLastOutside(CrossCheckStatus::UNKNOWN);
}

// Calls check(key, word, explanation) for every explained word.
template <typename Check>
void forEveryExplanation(Check check) {
  for (const KeyWithWords& row : keysWithWords()) {
    for (const std::string& word : row.words) {
      SCOPED_TRACE(joined({row.key, " ", word}));
      const std::optional<Explanation> explanation = explainWord(row.key, word);
      ASSERT_TRUE(explanation);
      check(row.key, word, *explanation);
    }
  }
}

TEST(Explanations, TheTextsAreSentencesInPlainText) {
  const auto expectSentences = [](std::string_view text) {
    EXPECT_TRUE(text.ends_with('.')) << text;
    EXPECT_EQ(std::ranges::count(text, '`') % 2, 0) << text;
    EXPECT_TRUE(std::ranges::all_of(text, [](char c) { return c >= ' ' && c <= '~'; })) << text;
    EXPECT_EQ(text.find("  "), std::string_view::npos) << text;
  };
  forEveryExplanation([&](const std::string&, const std::string&, const Explanation& row) {
    expectSentences(row.meaning);
    expectSentences(row.usualCause);
    expectSentences(row.whatToDo);
  });
}

constexpr std::size_t kMaxLiteral = 16'380;  // bytes that MSVC accepts

TEST(Explanations, NoTextIsTooLongForALiteral) {
  forEveryExplanation([](const std::string&, const std::string&, const Explanation& row) {
    const SmallestInput& input = row.smallestInput;
    for (const std::string_view text :
         {row.meaning, row.usualCause, row.whatToDo, input.config, input.answer, input.snapshot}) {
      EXPECT_LE(text.size(), kMaxLiteral);
    }
  });
  for (const ExplainedKey& row : explainedKeys()) EXPECT_LE(row.question.size(), kMaxLiteral);
}

// The record of a smallest input.
HostSnapshot smallestRecord(const SmallestInput& smallest) {
  HostSnapshot snapshot;
  if (!smallest.snapshot.empty()) {
    const Result<HostSnapshot> read = snapshotFromJson(smallest.snapshot);
    if (const auto* const refusal = std::get_if<Refusal>(&read)) {
      ADD_FAILURE() << toString(*refusal);
      return {};
    }
    snapshot = std::get<HostSnapshot>(read);
  }
  if (!smallest.config.empty()) {
    snapshot.config = readProxyConfig(smallest.config, /*hasText=*/true);
  }
  if (!smallest.answer.empty()) {
    SelectorAnswer& answer = snapshot.selectorAnswers.emplace_back();
    answer.selectorTag = "proxy";
    answer.status = readSelectorAnswer(smallest.answer, &answer.now);
  }
  return snapshot;
}

// All values of a member, or of a column of its rows, as text.
std::set<std::string> valuesOf(const EgressReport& report, std::string_view key) {
  const std::size_t dot = key.find("[].");
  const ReportMember* const member = findReportMember(report, key.substr(0, dot));
  std::set<std::string> values;
  const auto add = [&values](const ReportScalar& scalar) {
    const bool isWord = scalar.kind == ReportKind::String;
    values.insert(isWord ? scalar.stringValue : scalar.boolValue ? "true" : "false");
  };
  if (const auto* const scalar = std::get_if<ReportScalar>(&member->value)) {
    add(*scalar);
    return values;
  }
  for (const ReportRow& row : std::get<std::vector<ReportRow>>(member->value)) {
    for (const auto& [column, scalar] : row) {
      if (column == key.substr(dot + 3)) add(scalar);
    }
  }
  return values;
}

// The words under a key that a record produces.
std::set<std::string> wordsOf(const HostSnapshot& snapshot, std::string_view key) {
  const DiagnosisInput input = toInput(snapshot);
  if (key != "crossCheck") return valuesOf(diagnoseEgress(input), key);
  const CrossCheckStatus status = crossCheck(snapshot, diagnose(input)).status;
  return {std::string(kCrossCheckStatusWords.at(static_cast<std::size_t>(status)))};
}

TEST(Explanations, EverySmallestInputProducesItsWord) {
  forEveryExplanation([](const std::string& key, const std::string& word, const Explanation& row) {
    const SmallestInput& input = row.smallestInput;
    EXPECT_FALSE(input.config.empty() && input.snapshot.empty());
    EXPECT_EQ(wordsOf(smallestRecord(input), key), std::set{word});
  });
}

}  // namespace
}  // namespace egress::snapshot
