#include <algorithm>
#include <cstdint>
#include <limits>
#include <string>
#include <string_view>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "egress/core/diagnose_egress.h"
#include "egress/selfcheck/fixtures.h"
#include "egress/selfcheck/report_readers.h"
#include "tests/support/scalar_text.h"

namespace egress::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::uint32_t kMaxUnsigned = 4294967295U;
constexpr std::int32_t kMinSigned = std::numeric_limits<std::int32_t>::min();
constexpr std::int32_t kMaxSigned = std::numeric_limits<std::int32_t>::max();

// The rows of an array member, each formatted as KEY=VALUE pairs in order.
std::vector<std::string> rowsOf(const EgressReport& report, std::string_view key) {
  const std::vector<ReportRow>* const rows = reportRows(report, key);
  if (rows == nullptr) return {"no array"};
  std::vector<std::string> lines;
  for (const ReportRow& row : *rows) {
    std::string line;
    for (const auto& [name, value] : row) {
      line += (line.empty() ? "" : " ") + name + '=' + textOf(value);
    }
    lines.push_back(line);
  }
  return lines;
}

std::vector<std::string> rowsOf(const DiagnosisInput& input, std::string_view key) {
  return rowsOf(diagnoseEgress(input), key);
}

// The values of one column; other tests compare whole rows.
std::vector<std::int64_t> integersOf(const EgressReport& report, std::string_view key,
                                     std::string_view name) {
  std::vector<std::int64_t> integers;
  const std::vector<ReportRow>* const rows = reportRows(report, key);
  if (rows == nullptr) return integers;
  for (const ReportRow& row : *rows) integers.push_back(rowInteger(row, name));
  return integers;
}

std::vector<std::int64_t> observedOrdinals(const DiagnosisInput& input) {
  return integersOf(diagnoseEgress(input), "observedSocketSources", "interfaceOrdinal");
}

SocketSource socketFrom(std::string_view localAddress) {
  return makeSocketSource(localAddress, 51000, "203.0.113.200", 1);
}

DiagnosisInput makeInputWithSocket() {
  DiagnosisInput input = makeDefaultInput(true);
  input.sockets.rows = {makeSocketSource("10.0.0.7", 51000, "198.51.100.10", 443)};
  return input;
}

TEST(InterfaceRows, HaveThreeMembersInOrder) {
  EXPECT_THAT(rowsOf(makeDefaultInput(true), "interfaces"),
              ElementsAre("ordinal=1 operStatus=1 interfaceMetric=5",
                          "ordinal=2 operStatus=1 interfaceMetric=25"));
}

TEST(InterfaceRows, AdaptersWithIndexes11And4HaveOrdinals2And1AndAreSorted) {
  DiagnosisInput input;
  input.adapters.rows = {makeInterfaceRow(11, 2, 30, {}), makeInterfaceRow(4, 3, 40, {})};
  input.routes.rows = {{4, 11, 0}, {4, 4, 0}};
  const EgressReport report = diagnoseEgress(input);
  EXPECT_THAT(rowsOf(report, "interfaces"),
              ElementsAre("ordinal=1 operStatus=3 interfaceMetric=40",
                          "ordinal=2 operStatus=2 interfaceMetric=30"));
  EXPECT_THAT(integersOf(report, "defaultRoutes", "interfaceOrdinal"), ElementsAre(2, 1));
}

TEST(InterfaceRows, AreSortedByUnsignedIndexForEveryInputOrder) {
  DiagnosisInput input;
  input.adapters.rows = {makeInterfaceRow(0, 1, 1, {}), makeInterfaceRow(0x7FFFFFFFU, 1, 2, {}),
                         makeInterfaceRow(0x80000000U, 1, 3, {}),
                         makeInterfaceRow(kMaxUnsigned, 1, 4, {})};
  const auto byMetric = [](const InterfaceRow& a, const InterfaceRow& b) {
    return a.interfaceMetric < b.interfaceMetric;
  };
  do {
    const EgressReport report = diagnoseEgress(input);
    EXPECT_THAT(integersOf(report, "interfaces", "ordinal"), ElementsAre(1, 2, 3, 4));
    EXPECT_THAT(integersOf(report, "interfaces", "interfaceMetric"), ElementsAre(1, 2, 3, 4));
  } while (std::next_permutation(input.adapters.rows.begin(), input.adapters.rows.end(), byMetric));
}

TEST(InterfaceRows, RowsWithEqualIndexesAreAllKeptAndShareAnOrdinal) {
  DiagnosisInput input;
  input.adapters.rows = {makeInterfaceRow(9, 1, 90, {}), makeInterfaceRow(7, 1, 70, {}),
                         makeInterfaceRow(9, 2, 91, {}), makeInterfaceRow(9, 1, 90, {}),
                         makeInterfaceRow(12, 1, 120, {})};
  const std::vector<std::string> rows = rowsOf(input, "interfaces");
  ASSERT_EQ(rows.size(), 5U);
  EXPECT_EQ(rows.front(), "ordinal=1 operStatus=1 interfaceMetric=70");
  EXPECT_THAT(std::vector<std::string>(rows.begin() + 1, rows.end() - 1),
              testing::UnorderedElementsAre("ordinal=2 operStatus=1 interfaceMetric=90",
                                            "ordinal=2 operStatus=1 interfaceMetric=90",
                                            "ordinal=2 operStatus=2 interfaceMetric=91"));
  EXPECT_EQ(rows.back(), "ordinal=3 operStatus=1 interfaceMetric=120");
}

// Enough rows that an unstable sort would reorder equal ones.
TEST(InterfaceRows, RowsWithEqualIndexesKeepTheirOrder) {
  DiagnosisInput input;
  std::vector<std::int64_t> expected;
  for (std::uint32_t metric = 0; metric < 100; ++metric) {
    input.adapters.rows.push_back(makeInterfaceRow(9 - metric % 2, 1, metric, {}));
  }
  for (std::int64_t metric = 1; metric < 100; metric += 2) expected.push_back(metric);
  for (std::int64_t metric = 0; metric < 100; metric += 2) expected.push_back(metric);
  EXPECT_EQ(integersOf(diagnoseEgress(input), "interfaces", "interfaceMetric"), expected);
}

TEST(InterfaceRows, StatusIsSignedAndMetricIsUnsigned) {
  DiagnosisInput input;
  input.adapters.rows = {makeInterfaceRow(1, kMinSigned, kMaxUnsigned, {}),
                         makeInterfaceRow(2, -1, 0x80000000U, {}),
                         makeInterfaceRow(3, kMaxSigned, 0, {})};
  EXPECT_THAT(rowsOf(input, "interfaces"),
              ElementsAre("ordinal=1 operStatus=-2147483648 interfaceMetric=4294967295",
                          "ordinal=2 operStatus=-1 interfaceMetric=2147483648",
                          "ordinal=3 operStatus=2147483647 interfaceMetric=0"));
}

TEST(RouteRows, HaveFourMembersInOrderWhetherMappedOrNot) {
  DiagnosisInput input = makeDefaultInput(true);
  input.routes.rows.push_back({4, 99, 5});
  EXPECT_THAT(
      rowsOf(input, "defaultRoutes"),
      ElementsAre(R"(family=4 interfaceOrdinal=1 interfaceOrdinalStatus="OK" routeMetric=0)",
                  R"(family=6 interfaceOrdinal=2 interfaceOrdinalStatus="OK" routeMetric=256)",
                  "family=4 interfaceOrdinal=null "
                  R"(interfaceOrdinalStatus="ROUTE_INTERFACE_UNMAPPED" routeMetric=5)"));
}

TEST(RouteRows, AreNeitherSortedNorFilteredNorDeduplicated) {
  DiagnosisInput input = makeDefaultInput(true);
  input.routes.rows = {{6, 11, 9}, {4, 5, 3}, {6, 11, 9}, {0, 5, 1}, {4, 5, 3}, {4, 11, 0}};
  const EgressReport report = diagnoseEgress(input);
  EXPECT_THAT(integersOf(report, "defaultRoutes", "family"), ElementsAre(6, 4, 6, 0, 4, 4));
  EXPECT_THAT(integersOf(report, "defaultRoutes", "interfaceOrdinal"),
              ElementsAre(2, 1, 2, 1, 1, 2));
  EXPECT_THAT(integersOf(report, "defaultRoutes", "routeMetric"), ElementsAre(9, 3, 9, 1, 3, 0));
  EXPECT_EQ(reportString(report, "defaultRoutesStatus"), "OK");
}

TEST(RouteRows, FamilyIsSignedAndMetricIsUnsigned) {
  DiagnosisInput input = makeDefaultInput(true);
  input.routes.rows = {{kMinSigned, 5, kMaxUnsigned}, {-1, 5, 0x80000000U}, {kMaxSigned, 5, 0}};
  EXPECT_THAT(rowsOf(input, "defaultRoutes"),
              ElementsAre("family=-2147483648 interfaceOrdinal=1 "
                          R"(interfaceOrdinalStatus="OK" routeMetric=4294967295)",
                          R"(family=-1 interfaceOrdinal=1 interfaceOrdinalStatus="OK" )"
                          "routeMetric=2147483648",
                          R"(family=2147483647 interfaceOrdinal=1 interfaceOrdinalStatus="OK" )"
                          "routeMetric=0"));
}

TEST(RouteRows, ARouteWithAnUnknownIndexIsKeptAndMakesTheSnapshotInconsistent) {
  struct Row {
    std::vector<std::uint32_t> indexes;
    std::vector<std::int64_t> ordinals;  // -1 if there is none
    std::string_view status;
  };
  const std::vector<Row> rows = {
      {.indexes = {}, .ordinals = {}, .status = "OK"},
      {.indexes = {5, 11}, .ordinals = {1, 2}, .status = "OK"},
      {.indexes = {99, 5, 11}, .ordinals = {-1, 1, 2}, .status = "SNAPSHOT_INCONSISTENT"},
      {.indexes = {5, 99, 11}, .ordinals = {1, -1, 2}, .status = "SNAPSHOT_INCONSISTENT"},
      {.indexes = {5, 11, 99}, .ordinals = {1, 2, -1}, .status = "SNAPSHOT_INCONSISTENT"},
      {.indexes = {0, 1, 2, 4, 6, kMaxUnsigned},
       .ordinals = {-1, -1, -1, -1, -1, -1},
       .status = "SNAPSHOT_INCONSISTENT"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(testing::PrintToString(row.indexes));
    DiagnosisInput input = makeDefaultInput(true);
    input.routes.rows.clear();
    for (const std::uint32_t index : row.indexes) input.routes.rows.push_back({4, index, 0});
    const EgressReport report = diagnoseEgress(input);
    EXPECT_EQ(integersOf(report, "defaultRoutes", "interfaceOrdinal"), row.ordinals);
    EXPECT_EQ(reportString(report, "defaultRoutesStatus"), row.status);
  }
}

TEST(RouteRows, WithoutAdapterRowsTheSnapshotIsInconsistent) {
  DiagnosisInput input = makeDefaultInput(true);
  input.adapters.rows.clear();
  const EgressReport report = diagnoseEgress(input);
  EXPECT_EQ(reportString(report, "defaultRoutesStatus"), "SNAPSHOT_INCONSISTENT");
  EXPECT_THAT(rowsOf(report, "defaultRoutes"),
              ElementsAre("family=4 interfaceOrdinal=null "
                          R"(interfaceOrdinalStatus="ROUTE_INTERFACE_UNMAPPED" routeMetric=0)",
                          "family=6 interfaceOrdinal=null "
                          R"(interfaceOrdinalStatus="ROUTE_INTERFACE_UNMAPPED" routeMetric=256)"));
}

TEST(RouteRows, AFailedAdapterSnapshotUnmapsEveryRouteButTheStatusStaysOk) {
  DiagnosisInput input = makeDefaultInput(true);
  input.routes.rows.push_back({4, 99, 5});
  input.adapters.enumFailed = true;
  const EgressReport report = diagnoseEgress(input);
  EXPECT_EQ(reportString(report, "defaultRoutesStatus"), "OK");
  EXPECT_THAT(rowsOf(report, "defaultRoutes"),
              ElementsAre("family=4 interfaceOrdinal=null "
                          R"(interfaceOrdinalStatus="ROUTE_INTERFACE_UNMAPPED" routeMetric=0)",
                          "family=6 interfaceOrdinal=null "
                          R"(interfaceOrdinalStatus="ROUTE_INTERFACE_UNMAPPED" routeMetric=256)",
                          "family=4 interfaceOrdinal=null "
                          R"(interfaceOrdinalStatus="ROUTE_INTERFACE_UNMAPPED" routeMetric=5)"));
}

TEST(RouteRows, AFailedRouteSnapshotIsNeverInconsistent) {
  DiagnosisInput input = makeDefaultInput(true);
  input.routes.rows.push_back({4, 99, 5});
  input.routes.enumFailed = true;
  for (const bool adaptersFailed : {false, true}) {
    input.adapters.enumFailed = adaptersFailed;
    const EgressReport report = diagnoseEgress(input);
    EXPECT_EQ(reportString(report, "defaultRoutesStatus"), "ROUTE_ENUM_FAILED");
    EXPECT_THAT(rowsOf(report, "defaultRoutes"), IsEmpty());
  }
}

TEST(SnapshotFlags, EachFlagAffectsOnlyItsSnapshot) {
  for (unsigned mask = 0; mask < 8; ++mask) {
    SCOPED_TRACE(mask);
    DiagnosisInput input = makeInputWithSocket();
    const bool adaptersFailed = input.adapters.enumFailed = (mask & 1U) != 0;
    const bool routesFailed = input.routes.enumFailed = (mask & 2U) != 0;
    const bool socketsFailed = input.sockets.enumFailed = (mask & 4U) != 0;
    const EgressReport report = diagnoseEgress(input);
    EXPECT_EQ(reportString(report, "interfacesStatus"),
              adaptersFailed ? "ADAPTER_ENUM_FAILED" : "OK");
    EXPECT_EQ(rowsOf(report, "interfaces").size(), adaptersFailed ? 0U : 2U);
    EXPECT_EQ(reportString(report, "defaultRoutesStatus"),
              routesFailed ? "ROUTE_ENUM_FAILED" : "OK");
    EXPECT_EQ(rowsOf(report, "defaultRoutes").size(), routesFailed ? 0U : 2U);
    EXPECT_EQ(reportString(report, "socketSourcesStatus"),
              socketsFailed ? "SOCKET_ENUM_FAILED" : "OK");
    EXPECT_EQ(rowsOf(report, "observedSocketSources").size(),
              socketsFailed || adaptersFailed ? 0U : 1U);
    EXPECT_EQ(reportString(report, "activeEndpointStatus"), "OK");
    const std::string_view adapterStatus =
        adaptersFailed ? "NOT_EVALUATED_ADAPTER_ENUM_FAILED" : "OK";
    EXPECT_EQ(reportString(report, "selectionStatus"),
              socketsFailed ? "NOT_EVALUATED_SOCKET_ENUM_FAILED" : adapterStatus);
  }
}

TEST(ObservedSocketSources, AreDistinctAndAscendingForEverySocketOrder) {
  DiagnosisInput input = makeDefaultInput(true);
  input.adapters.rows.push_back(makeInterfaceRow(20, 1, 1, {"10.0.0.20"}));
  std::vector<std::string_view> sources = {"10.0.0.20", "10.0.0.7", "10.0.0.7", "192.168.1.50"};
  std::ranges::sort(sources);
  do {
    input.sockets.rows.clear();
    for (const std::string_view source : sources) input.sockets.rows.push_back(socketFrom(source));
    EXPECT_THAT(rowsOf(input, "observedSocketSources"),
                ElementsAre("interfaceOrdinal=1", "interfaceOrdinal=2", "interfaceOrdinal=3"));
  } while (std::next_permutation(sources.begin(), sources.end()));
}

TEST(ObservedSocketSources, AreCompleteForAnyNumberOfInterfaces) {
  for (const std::uint32_t count : {1U, 62U, 63U, 64U, 65U, 127U, 128U, 200U}) {
    DiagnosisInput input;
    std::vector<std::int64_t> expected;
    for (std::uint32_t i = 1; i <= count; ++i) {
      const std::string address = "10.0.0." + std::to_string(i);
      input.adapters.rows.push_back(makeInterfaceRow(i * 10, 1, 1, {address}));
      input.sockets.rows.insert(input.sockets.rows.begin(), socketFrom(address));
      expected.push_back(i);
    }
    EXPECT_EQ(observedOrdinals(input), expected) << count;
  }
}

TEST(ObservedSocketSources, OmitInterfacesWithoutSockets) {
  DiagnosisInput input = makeDefaultInput(true);
  EXPECT_THAT(observedOrdinals(input), IsEmpty());
  input.sockets.rows = {socketFrom("192.168.1.50")};
  EXPECT_THAT(observedOrdinals(input), ElementsAre(2));
}

TEST(ObservedSocketSources, DoNotDependOnTheRemoteAddressOrPort) {
  for (const std::string_view remote : {"198.51.100.10", "203.0.113.200", "", "<missing>", "::1"}) {
    DiagnosisInput input = makeDefaultInput(true);
    input.sockets.rows = {makeSocketSource("10.0.0.7", 0, remote, kMaxUnsigned)};
    EXPECT_THAT(observedOrdinals(input), ElementsAre(1)) << remote;
  }
}

TEST(ObservedSocketSources, AmbiguousAndUnmappedSourcesAddNothing) {
  DiagnosisInput input = makeDefaultInput(true);
  for (InterfaceRow& adapter : input.adapters.rows) adapter.addresses.emplace_back("10.9.9.9");
  const std::vector<SocketSource> ignored = {socketFrom("10.9.9.9"), socketFrom("172.16.9.9"),
                                             socketFrom(""), socketFrom("host.example.com"),
                                             socketFrom("::ffff:10.0.0.7")};
  input.sockets.rows = ignored;
  EXPECT_THAT(observedOrdinals(input), IsEmpty());
  input.sockets.rows.push_back(socketFrom("192.168.1.50"));
  EXPECT_THAT(observedOrdinals(input), ElementsAre(2));
}

TEST(ObservedSocketSources, AdapterRowsThatShareAnIndexAreOneSource) {
  DiagnosisInput input = makeDefaultInput(true);
  input.adapters.rows.push_back(makeInterfaceRow(5, 1, 1, {"10.0.0.8", "10.0.0.7"}));
  input.sockets.rows = {socketFrom("10.0.0.8"), socketFrom("10.0.0.7")};
  EXPECT_THAT(observedOrdinals(input), ElementsAre(1));
}

TEST(ObservedSocketSources, DoNotDependOnThePolicyOrTheConfiguration) {
  for (const std::uint32_t configStatus : {0U, 1U, 4U, 1000U}) {
    for (const bool autoDetectInterface : {false, true}) {
      DiagnosisInput input = makeDefaultInput(autoDetectInterface);
      input.configStatus = ConfigStatus{configStatus};
      input.sockets.rows = {socketFrom("192.168.1.50"), socketFrom("10.0.0.7")};
      EXPECT_THAT(observedOrdinals(input), ElementsAre(1, 2)) << configStatus;
    }
  }
}

TEST(DiagnoseEgressReport, NeverContainsAnInterfaceIndex) {
  DiagnosisInput input = makeInputWithSocket();
  for (InterfaceRow& adapter : input.adapters.rows) adapter.interfaceIndex += 1000000;
  input.routes.rows = {{4, 1000005, 0}, {4, 1000099, 0}};
  const EgressReport report = diagnoseEgress(input);
  for (const std::string_view key : {"interfaces", "defaultRoutes", "observedSocketSources"}) {
    for (const std::string& row : rowsOf(report, key)) {
      EXPECT_THAT(row, testing::Not(testing::HasSubstr("1000"))) << key;
    }
  }
  EXPECT_EQ(reportInteger(report, "selectedInterfaceOrdinal"), 1);
}

TEST(DiagnoseEgressReport, EqualInputsGiveEqualReports) {
  const DiagnosisInput input = makeInputWithSocket();
  const EgressReport first = diagnoseEgress(input);
  EXPECT_TRUE(diagnoseEgress(input) == first);
  EXPECT_TRUE(diagnoseEgress(makeInputWithSocket()) == first);
  EXPECT_FALSE(diagnoseEgress(makeDefaultInput(true)) == first);
}

}  // namespace
}  // namespace egress::test
