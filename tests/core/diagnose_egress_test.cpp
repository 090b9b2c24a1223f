#include "egress/core/diagnose_egress.h"

#include <cstdint>
#include <limits>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "egress/selfcheck/fixtures.h"
#include "egress/selfcheck/report_readers.h"
#include "tests/support/exact_text.h"
#include "tests/support/scalar_text.h"

namespace egress::test {
namespace {

using test::textOf;
using testing::ElementsAre;
using testing::ElementsAreArray;

std::string textOf(const std::vector<ReportRow>& rows) {
  std::string text;
  for (const ReportRow& row : rows) {
    text += '{';
    for (const auto& [key, value] : row) {
      text += (text.back() == '{' ? "" : ", ") + key + ": " + textOf(value);
    }
    text += '}';
  }
  return '[' + text + ']';
}

// A report, one line per member.
std::vector<std::string> linesOf(const EgressReport& report) {
  std::vector<std::string> lines;
  for (const ReportMember& member : report.members) {
    const std::string value =
        std::visit([](const auto& held) { return textOf(held); }, member.value);
    lines.push_back(member.key + ": " + value);
  }
  return lines;
}

std::string lineOf(const EgressReport& report, std::string_view key) {
  for (const std::string& line : linesOf(report)) {
    if (line.starts_with(std::string(key) + ": ")) return line.substr(key.size() + 2);
  }
  return "absent";
}

std::string lineOf(const DiagnosisInput& input, std::string_view key) {
  return lineOf(diagnoseEgress(input), key);
}

SocketSource socketToEndpoint(std::string_view localAddress) {
  return makeSocketSource(localAddress, 51000, "198.51.100.10", 443);
}

// The default input with a socket from each adapter; only the first goes to the endpoint.
DiagnosisInput makeInputWithSockets(bool autoDetectInterface) {
  DiagnosisInput input = makeDefaultInput(autoDetectInterface);
  input.sockets.rows = {socketToEndpoint("10.0.0.7"),
                        makeSocketSource("192.168.1.50", 51001, "203.0.113.200", 443)};
  return input;
}

// The selector "proxy" chooses "mid", which has the detour "leaf"; "aside" is not on the walk.
DiagnosisInput makeInputWithWalk() {
  DiagnosisInput input = makeInputWithSockets(true);
  input.outbounds = {makeOutbound("aside", "vmess", "192.0.2.1", 1), makeSelectorOutbound("proxy"),
                     makeDetourOutbound("mid", "leaf"),
                     makeOutbound("leaf", "trojan", "198.51.100.10", 443)};
  input.selectorAnswers = {makeSelectorAnswer("proxy", SelectorAnswerStatus::Ok, "mid")};
  return input;
}

TEST(DiagnoseEgress, AnEmptyInputHasNoConfigNoAutoDetectMemberAndPolicyUnknown) {
  EXPECT_THAT(linesOf(diagnoseEgress(DiagnosisInput{})),
              ElementsAre(R"(configStatus: "NO_CONFIG")", R"(egressSelectionPolicy: "unknown")",
                          R"(activeEndpointStatus: "NOT_EVALUATED_CONFIG_UNAVAILABLE")",
                          "selectorHintStale: false", "selectedInterfaceOrdinal: null",
                          R"(selectionStatus: "NOT_EVALUATED_ENDPOINT_UNAVAILABLE")",
                          R"(interfacesStatus: "OK")", "interfaces: []",
                          R"(defaultRoutesStatus: "OK")", "defaultRoutes: []",
                          R"(socketSourcesStatus: "OK")", "observedSocketSources: []"));
}

TEST(DiagnoseEgress, AValidInputGivesAllThirteenMembersInOrder) {
  EXPECT_THAT(
      linesOf(diagnoseEgress(makeInputWithSockets(true))),
      ElementsAre(
          R"(configStatus: "OK")", "autoDetectInterfaceEnabled: true",
          R"(egressSelectionPolicy: "singbox_auto_detect")", R"(activeEndpointStatus: "OK")",
          "selectorHintStale: false", "selectedInterfaceOrdinal: 1", R"(selectionStatus: "OK")",
          R"(interfacesStatus: "OK")",
          "interfaces: [{ordinal: 1, operStatus: 1, interfaceMetric: 5}"
          "{ordinal: 2, operStatus: 1, interfaceMetric: 25}]",
          R"(defaultRoutesStatus: "OK")",
          "defaultRoutes: "
          R"([{family: 4, interfaceOrdinal: 1, interfaceOrdinalStatus: "OK", routeMetric: 0})"
          R"({family: 6, interfaceOrdinal: 2, interfaceOrdinalStatus: "OK", routeMetric: 256}])",
          R"(socketSourcesStatus: "OK")",
          "observedSocketSources: [{interfaceOrdinal: 1}{interfaceOrdinal: 2}]"));
}

TEST(DiagnoseEgress, FailedSnapshotsKeepAllMembers) {
  DiagnosisInput input = makeInputWithSockets(true);
  input.adapters.enumFailed = true;
  input.routes.enumFailed = true;
  input.sockets.enumFailed = true;
  EXPECT_THAT(
      linesOf(diagnoseEgress(input)),
      ElementsAre(R"(configStatus: "OK")", "autoDetectInterfaceEnabled: true",
                  R"(egressSelectionPolicy: "singbox_auto_detect")",
                  R"(activeEndpointStatus: "OK")", "selectorHintStale: false",
                  "selectedInterfaceOrdinal: null",
                  R"(selectionStatus: "NOT_EVALUATED_SOCKET_ENUM_FAILED")",
                  R"(interfacesStatus: "ADAPTER_ENUM_FAILED")", "interfaces: []",
                  R"(defaultRoutesStatus: "ROUTE_ENUM_FAILED")", "defaultRoutes: []",
                  R"(socketSourcesStatus: "SOCKET_ENUM_FAILED")", "observedSocketSources: []"));
}

TEST(DiagnoseEgress, AnUnusableConfigurationDoesNotAffectTheSnapshots) {
  struct Row {
    std::uint32_t number;
    std::string_view word;
  };
  const std::vector<Row> rows = {
      {.number = 1, .word = "NO_CONFIG"},
      {.number = 2, .word = "JSON_PARSE_FAILED"},
      {.number = 3, .word = "AUTO_DETECT_MISSING"},
      {.number = 4, .word = "AUTO_DETECT_INVALID"},
      {.number = 5, .word = "AUTO_DETECT_INVALID"},
      {.number = 1000, .word = "AUTO_DETECT_INVALID"},
      {.number = std::numeric_limits<std::uint32_t>::max(), .word = "AUTO_DETECT_INVALID"},
  };
  for (const Row& row : rows) {
    for (const bool autoDetectInterface : {false, true}) {
      SCOPED_TRACE(row.number);
      DiagnosisInput input = makeInputWithSockets(autoDetectInterface);
      std::vector<std::string> expected = linesOf(diagnoseEgress(input));
      expected.erase(expected.begin() + 1);
      expected[0] = "configStatus: \"" + std::string(row.word) + '"';
      expected[1] = R"(egressSelectionPolicy: "unknown")";
      expected[2] = R"(activeEndpointStatus: "NOT_EVALUATED_CONFIG_UNAVAILABLE")";
      expected[4] = "selectedInterfaceOrdinal: null";
      expected[5] = R"(selectionStatus: "NOT_EVALUATED_ENDPOINT_UNAVAILABLE")";

      input.configStatus = ConfigStatus{row.number};
      input.selectorHint = "nowhere";
      EXPECT_THAT(linesOf(diagnoseEgress(input)), ElementsAreArray(expected));
    }
  }
}

TEST(DiagnoseEgress, WithoutAutoDetectThePolicyIsOsRoutedAndSourcesAreObserved) {
  const EgressReport report = diagnoseEgress(makeInputWithSockets(false));
  EXPECT_EQ(lineOf(report, "autoDetectInterfaceEnabled"), "false");
  EXPECT_EQ(lineOf(report, "egressSelectionPolicy"), R"("os_routed")");
  EXPECT_EQ(lineOf(report, "activeEndpointStatus"), R"("OK")");
  EXPECT_EQ(lineOf(report, "selectionStatus"), R"("NOT_APPLICABLE_OS_ROUTED")");
  EXPECT_EQ(lineOf(report, "selectedInterfaceOrdinal"), "null");
  EXPECT_EQ(lineOf(report, "observedSocketSources"),
            "[{interfaceOrdinal: 1}{interfaceOrdinal: 2}]");
}

TEST(DiagnoseEgress, OsRoutedStillResolvesTheEndpointAndChecksTheHint) {
  DiagnosisInput input = makeInputWithWalk();
  input.autoDetectInterface = false;
  EXPECT_EQ(lineOf(input, "activeEndpointStatus"), R"("OK")");
  input.selectorHint = "aside";
  EXPECT_EQ(lineOf(input, "selectorHintStale"), "true");
  input.outbounds.pop_back();
  EXPECT_EQ(lineOf(input, "activeEndpointStatus"), R"("OUTBOUND_NOT_FOUND")");
  EXPECT_EQ(lineOf(input, "selectionStatus"), R"("NOT_APPLICABLE_OS_ROUTED")");
}

TEST(DiagnoseEgress, OnlySocketsToTheEndpointSelectButAllAreObserved) {
  const EgressReport report = diagnoseEgress(makeInputWithSockets(true));
  EXPECT_EQ(lineOf(report, "selectionStatus"), R"("OK")");
  EXPECT_EQ(lineOf(report, "selectedInterfaceOrdinal"), "1");
  EXPECT_EQ(lineOf(report, "observedSocketSources"),
            "[{interfaceOrdinal: 1}{interfaceOrdinal: 2}]");
}

TEST(DiagnoseEgress, TheSelectedOrdinalIsAnIntegerOnlyIfSelectionIsOk) {
  struct Row {
    std::vector<std::string_view> sources;
    std::string_view status;
    std::string_view ordinal;
  };
  const std::vector<Row> rows = {
      {.sources = {"192.168.1.50", "192.168.1.50"}, .status = R"("OK")", .ordinal = "2"},
      {.sources = {}, .status = R"("NO_MATCHING_SOCKET")", .ordinal = "null"},
      {.sources = {"172.16.9.9"},
       .status = R"("SOCKET_SOURCE_ADDRESS_UNMAPPED")",
       .ordinal = "null"},
      {.sources = {"10.0.0.7", "172.16.9.9"},
       .status = R"("PARTIAL_SOCKET_SOURCE_MAPPING")",
       .ordinal = "null"},
      {.sources = {"10.0.0.7", "192.168.1.50"},
       .status = R"("MULTIPLE_MATCHING_SOCKET_INTERFACES")",
       .ordinal = "null"},
      {.sources = {"10.0.0.7", "10.9.9.9"},
       .status = R"("ADDRESS_INTERFACE_AMBIGUOUS")",
       .ordinal = "null"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.status);
    DiagnosisInput input = makeDefaultInput(true);
    for (InterfaceRow& adapter : input.adapters.rows) adapter.addresses.emplace_back("10.9.9.9");
    for (const std::string_view source : row.sources) {
      input.sockets.rows.push_back(socketToEndpoint(source));
    }
    EXPECT_EQ(lineOf(input, "selectionStatus"), row.status);
    EXPECT_EQ(lineOf(input, "selectedInterfaceOrdinal"), row.ordinal);
  }
}

TEST(DiagnoseEgress, TheEndpointIsThatOfTheLeaf) {
  DiagnosisInput input = makeInputWithWalk();
  EXPECT_EQ(lineOf(input, "selectedInterfaceOrdinal"), "1");
  input.outbounds.back().server = "203.0.113.200";
  EXPECT_EQ(lineOf(input, "selectedInterfaceOrdinal"), "2");
  input.outbounds.back().ports = {444};
  EXPECT_EQ(lineOf(input, "selectionStatus"), R"("NO_MATCHING_SOCKET")");
}

TEST(DiagnoseEgress, TheStatusOfAFailedWalkIsTheEndpointStatus) {
  struct Row {
    SelectorAnswerStatus status;
    std::string_view now;
    std::string_view expected;
  };
  const std::vector<Row> rows = {
      {.status = SelectorAnswerStatus::Ok, .now = "mid", .expected = R"("OK")"},
      {.status = SelectorAnswerStatus::TransportFailed,
       .now = "mid",
       .expected = R"("SELECTOR_TRANSPORT_FAILED")"},
      {.status = SelectorAnswerStatus::Malformed,
       .now = "mid",
       .expected = R"("SELECTOR_RESPONSE_MALFORMED")"},
      {.status = SelectorAnswerStatus::NowMissing,
       .now = "mid",
       .expected = R"("SELECTOR_NOW_MISSING")"},
      {.status = SelectorAnswerStatus::Ok, .now = "", .expected = R"("SELECTOR_NOW_MISSING")"},
      {.status = SelectorAnswerStatus::Ok, .now = "proxy", .expected = R"("SELECTOR_CYCLE")"},
      {.status = SelectorAnswerStatus::Ok, .now = "none", .expected = R"("OUTBOUND_NOT_FOUND")"},
      {.status = SelectorAnswerStatus{77}, .now = "mid", .expected = R"("OK")"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.expected);
    DiagnosisInput input = makeInputWithWalk();
    input.selectorAnswers = {makeSelectorAnswer("proxy", row.status, row.now)};
    EXPECT_EQ(lineOf(input, "activeEndpointStatus"), row.expected);
    EXPECT_EQ(lineOf(input, "selectionStatus"),
              row.expected == R"("OK")" ? R"("OK")" : R"("NOT_EVALUATED_ENDPOINT_UNAVAILABLE")");
  }
}

TEST(DiagnoseEgress, TheLeafsClassificationIsTheEndpointStatus) {
  struct Row {
    Outbound leaf;
    std::string_view expected;
  };
  const std::vector<Row> rows = {
      {.leaf = makeOutbound("proxy", "trojan", "198.51.100.10", 443), .expected = R"("OK")"},
      {.leaf = makeOutbound("proxy", "direct", "198.51.100.10", 443),
       .expected = R"("LEAF_HAS_NO_REMOTE_ENDPOINT")"},
      {.leaf = makeOutbound("proxy", "trojan", "198.51.100.10", 0),
       .expected = R"("ENDPOINT_MISSING")"},
      {.leaf = makeOutbound("proxy", "trojan", "host.example.com", 443),
       .expected = R"("ENDPOINT_NOT_NUMERIC")"},
      {.leaf = makeOutbound("proxy", "tuic", "198.51.100.10", 443),
       .expected = R"("TRANSPORT_UNSUPPORTED")"},
      {.leaf = makeOutbound("proxy", "socks", "198.51.100.10", 443),
       .expected = R"("TRANSPORT_UNKNOWN")"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.expected);
    DiagnosisInput input = makeInputWithOutbound(row.leaf);
    input.sockets.rows = {socketToEndpoint("10.0.0.7")};
    EXPECT_EQ(lineOf(input, "activeEndpointStatus"), row.expected);
    EXPECT_EQ(lineOf(input, "selectedInterfaceOrdinal"), row.expected == R"("OK")" ? "1" : "null");
    input.outbounds[0].detour = "dangling";
    EXPECT_EQ(lineOf(input, "activeEndpointStatus"), R"("OUTBOUND_NOT_FOUND")");
  }
}

TEST(DiagnoseEgress, AHintIsStaleIfAndOnlyIfItEqualsNoVisitedTag) {
  struct Row {
    std::string hint;
    std::string_view stale;
  };
  const std::vector<Row> rows = {
      {.hint = "", .stale = "false"},       {.hint = "proxy", .stale = "false"},
      {.hint = "mid", .stale = "false"},    {.hint = "leaf", .stale = "false"},
      {.hint = "aside", .stale = "true"},   {.hint = "nowhere", .stale = "true"},
      {.hint = "Proxy", .stale = "true"},   {.hint = "LEAF", .stale = "true"},
      {.hint = "leaf2", .stale = "true"},   {.hint = " leaf", .stale = "true"},
      {.hint = "leaf ", .stale = "true"},   {.hint = std::string("leaf\0", 5), .stale = "true"},
      {.hint = "proxymid", .stale = "true"}};
  for (const Row& row : rows) {
    SCOPED_TRACE(row.hint);
    DiagnosisInput input = makeInputWithWalk();
    input.selectorHint = row.hint;
    EXPECT_EQ(lineOf(input, "selectorHintStale"), row.stale);
  }
}

TEST(DiagnoseEgress, ATruncatedTagIsAStaleHintAndAnEmptyHintIsNotStale) {
  for (const std::string_view tag : {"proxy", "mid", "leaf"}) {
    forEveryCut(tag, [](std::string_view cut) {
      DiagnosisInput input = makeInputWithWalk();
      input.selectorHint = cut;
      EXPECT_EQ(lineOf(input, "selectorHintStale"), cut.empty() ? "false" : "true") << cut;
    });
  }
}

TEST(DiagnoseEgress, AfterAFailedWalkTheHintIsComparedWithTheTagsUpToTheFailure) {
  DiagnosisInput input = makeInputWithWalk();
  const auto expectStale = [&input](std::string_view hint, std::string_view stale) {
    input.selectorHint = hint;
    EXPECT_EQ(lineOf(input, "selectorHintStale"), stale) << hint;
  };
  input.outbounds.pop_back();
  EXPECT_EQ(lineOf(input, "activeEndpointStatus"), R"("OUTBOUND_NOT_FOUND")");
  expectStale("proxy", "false");
  expectStale("mid", "false");
  expectStale("leaf", "true");

  input.selectorAnswers.clear();
  EXPECT_EQ(lineOf(input, "activeEndpointStatus"), R"("SELECTOR_TRANSPORT_FAILED")");
  expectStale("proxy", "false");
  expectStale("mid", "true");

  input.outbounds.clear();
  EXPECT_EQ(lineOf(input, "activeEndpointStatus"), R"("OUTBOUND_NOT_FOUND")");
  expectStale("proxy", "true");
  expectStale("", "false");
}

TEST(DiagnoseEgress, IfTheWalkIsTooDeepTheNinthTagIsFreshAndTheTenthIsStale) {
  DiagnosisInput input = makeDefaultInput(true);
  input.outbounds = {makeDetourOutbound("proxy", "d1")};
  for (int i = 1; i <= 9; ++i) {
    input.outbounds.push_back(
        makeDetourOutbound("d" + std::to_string(i), "d" + std::to_string(i + 1)));
  }
  EXPECT_EQ(lineOf(input, "activeEndpointStatus"), R"("DETOUR_DEPTH_EXCEEDED")");
  input.selectorHint = "d8";
  EXPECT_EQ(lineOf(input, "selectorHintStale"), "false");
  input.selectorHint = "d9";
  EXPECT_EQ(lineOf(input, "selectorHintStale"), "true");
}

TEST(DiagnoseEgress, AHintIsFreshIfItsTagWasVisitedEvenIfTheEndpointIsUnusable) {
  DiagnosisInput input = makeInputWithWalk();
  input.outbounds.back().type = "direct";
  input.selectorHint = "leaf";
  EXPECT_EQ(lineOf(input, "activeEndpointStatus"), R"("LEAF_HAS_NO_REMOTE_ENDPOINT")");
  EXPECT_EQ(lineOf(input, "selectorHintStale"), "false");
}

TEST(DiagnoseEgress, WithoutAUsableConfigurationNoHintIsStale) {
  for (const std::uint32_t number : {1U, 2U, 3U, 4U, 5U, 1000U}) {
    DiagnosisInput input = makeInputWithWalk();
    input.selectorHint = "aside";
    EXPECT_EQ(lineOf(input, "selectorHintStale"), "true");
    input.configStatus = ConfigStatus{number};
    EXPECT_EQ(lineOf(input, "selectorHintStale"), "false") << number;
  }
}

TEST(DiagnoseEgress, LocalPortsInterfaceStatusMetricsAndRoutesDoNotAffectEndpointOrSelection) {
  DiagnosisInput input = makeInputWithSockets(true);
  for (InterfaceRow& adapter : input.adapters.rows) {
    adapter.operStatus = -1;
    adapter.interfaceMetric = 4294967295U;
  }
  for (SocketSource& socket : input.sockets.rows) socket.localPort = 4294967295U;
  for (const bool routesFailed : {false, true}) {
    input.routes = {.enumFailed = routesFailed, .rows = {{4, 11, 0}, {4, 99, 1}}};
    const EgressReport report = diagnoseEgress(input);
    EXPECT_EQ(lineOf(report, "activeEndpointStatus"), R"("OK")");
    EXPECT_EQ(lineOf(report, "selectionStatus"), R"("OK")");
    EXPECT_EQ(lineOf(report, "selectedInterfaceOrdinal"), "1");
  }
}

}  // namespace
}  // namespace egress::test
