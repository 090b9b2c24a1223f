// Compares reports for generated inputs with those of the naive core, and checks that irrelevant
// changes of an input do not change the report.

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include <gtest/gtest.h>

#include "egress/core/diagnose_egress.h"
#include "tests/laws/core_laws.h"
#include "tests/laws/generated_input.h"
#include "tests/laws/random_rounds.h"

namespace egress::test {
namespace {

// The number of each word by key.
using WordCounts = std::map<std::string, std::map<std::string, std::size_t>>;

void count(const EgressReport& report, WordCounts& counts) {
  for (const ReportMember& member : report.members) {
    const auto* const scalar = std::get_if<ReportScalar>(&member.value);
    if (scalar == nullptr || scalar->kind != ReportKind::String) continue;
    ++counts[member.key][scalar->stringValue];
  }
}

void expectAllOf(const std::vector<std::string>& words, const std::string& key,
                 const WordCounts& counts) {
  for (const std::string& word : words) {
    EXPECT_TRUE(counts.contains(key) && counts.at(key).contains(word)) << key << " " << word;
  }
}

TEST(ReportLaws, GeneratedInputsMatchTheNaiveCore) {
  WordCounts counts;
  checkOnRandomBytes(200'000, 300, [&counts](std::string_view bytes) {
    Choices choices(bytes);
    const DiagnosisInput input = generateInput(choices);
    count(diagnoseEgress(input), counts);
    return checkReport(input);
  });
  for (const auto& [key, words] : counts) {
    for (const auto& [word, times] : words) std::cout << times << " " << key << " " << word << "\n";
  }
  expectAllOf(declaredConfigStatus(), "configStatus", counts);
  expectAllOf(declaredEgressSelectionPolicy(), "egressSelectionPolicy", counts);
  expectAllOf(declaredActiveEndpointStatus(), "activeEndpointStatus", counts);
  expectAllOf(declaredSelectionStatus(), "selectionStatus", counts);
  expectAllOf(declaredInterfacesStatus(), "interfacesStatus", counts);
  expectAllOf(declaredDefaultRoutesStatus(), "defaultRoutesStatus", counts);
  expectAllOf(declaredSocketSourcesStatus(), "socketSourcesStatus", counts);
}

TEST(ReportLaws, IrrelevantChangesDoNotChangeTheReport) {
  for (std::size_t change = 0; change < kInputChanges; ++change) {
    checkOnRandomBytes(40'000, 400, [change](std::string_view bytes) {
      Choices choices(bytes);
      const DiagnosisInput input = generateInput(choices);
      return checkChange(change, input, choices);
    });
  }
}

// Each seed of the fuzzer is named "key-word" after a word that it produces. A changed generator
// can make the seeds useless.
TEST(ReportLaws, TheFuzzCorpusProducesEveryWord) {
  std::size_t seeds = 0;
  for (const auto& file : std::filesystem::directory_iterator(EGRESS_DIAGNOSIS_CORPUS)) {
    std::ifstream stream(file.path(), std::ios::binary);
    const std::string bytes{std::istreambuf_iterator<char>(stream),
                            std::istreambuf_iterator<char>()};
    Choices choices(bytes);
    choices.below(kInputChanges);  // the fuzzer's first choice
    WordCounts counts;
    count(diagnoseEgress(generateInput(choices)), counts);
    const std::string name = file.path().filename().string();
    const std::size_t dash = name.find('-');
    EXPECT_TRUE(counts[name.substr(0, dash)].contains(name.substr(dash + 1))) << name;
    ++seeds;
  }
  EXPECT_EQ(seeds, 5 + 3 + 17 + 10 + 2 + 3 + 2);  // all declared words except those of rows
}

// Every value that must not be reported is unique in the input.
DiagnosisInput makeMarkedInput() {
  DiagnosisInput input;
  input.configStatus = ConfigStatus::OK;
  input.autoDetectInterface = true;
  Outbound proxy;
  proxy.tag = "proxy";
  proxy.type = "selector";
  Outbound leaf;
  leaf.tag = "TAG-leaf";
  leaf.type = "vless";
  leaf.hasServer = true;
  leaf.server = "198.51.100.77";
  leaf.portSpecified = true;
  leaf.ports = {51443};
  leaf.hasTransport = true;
  leaf.transportType = "grpc";
  input.outbounds = {proxy, leaf};
  input.selectorAnswers = {
      {.selectorTag = "proxy", .status = SelectorAnswerStatus::Ok, .now = "TAG-leaf"}};
  input.selectorHint = "TAG-hint";
  input.adapters.rows = {
      {.interfaceIndex = 701, .operStatus = -2, .interfaceMetric = 31, .addresses = {"10.9.8.7"}},
      {.interfaceIndex = 702, .operStatus = -3, .interfaceMetric = 32, .addresses = {"10.9.8.6"}}};
  input.routes.rows = {{.family = -4, .interfaceIndex = 702, .routeMetric = 33},
                       {.family = -6, .interfaceIndex = 799, .routeMetric = 34}};
  input.sockets.rows = {{"10.9.8.7", 52001, "198.51.100.77", 51443},
                        {"10.9.8.6", 52002, "203.0.113.88", 52003}};
  return input;
}

TEST(ReportLaws, AReportContainsNoIndexAddressTagOrPort) {
  const EgressReport report = diagnoseEgress(makeMarkedInput());
  std::multiset<std::int64_t> integers;
  std::set<std::string> strings;
  const auto gather = [&](const ReportScalar& scalar) {
    if (scalar.kind == ReportKind::Integer) integers.insert(scalar.intValue);
    if (scalar.kind == ReportKind::String) strings.insert(scalar.stringValue);
  };
  for (const ReportMember& member : report.members) {
    if (const auto* const scalar = std::get_if<ReportScalar>(&member.value)) {
      gather(*scalar);
      continue;
    }
    for (const ReportRow& row : std::get<std::vector<ReportRow>>(member.value)) {
      for (const auto& [key, scalar] : row) gather(scalar);
    }
  }
  // The ordinals 1 and 2 of the selection, the interfaces, the known route and the observed
  // sources, and the values that are reported unchanged.
  EXPECT_EQ(integers,
            (std::multiset<std::int64_t>{-6, -4, -3, -2, 1, 1, 1, 2, 2, 2, 31, 32, 33, 34}));
  EXPECT_EQ(strings, (std::set<std::string>{"OK", "singbox_auto_detect", "SNAPSHOT_INCONSISTENT",
                                            "ROUTE_INTERFACE_UNMAPPED"}));
}

}  // namespace
}  // namespace egress::test
