#include "egress/core/diagnosis.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "egress/core/diagnose_egress.h"
#include "egress/core/write_report.h"
#include "egress/selfcheck/fixtures.h"

namespace egress::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// The selector "proxy" chooses "leaf", the third outbound. There is one socket to its endpoint and
// one to another host, a route through each adapter and one through an unknown interface.
DiagnosisInput makeInput() {
  DiagnosisInput input = makeDefaultInput(/*autoDetectInterface=*/true);
  input.outbounds = {makeSelectorOutbound("proxy"), makeOutbound("aside", "direct", "", 0),
                     makeOutbound("leaf", "trojan", "198.51.100.10", 443)};
  input.selectorAnswers = {makeSelectorAnswer("proxy", SelectorAnswerStatus::Ok, "leaf")};
  input.routes.rows.push_back({.family = 4, .interfaceIndex = 99, .routeMetric = 7});
  input.sockets.rows = {makeSocketSource("10.0.0.7", 51000, "198.51.100.10", 443),
                        makeSocketSource("192.168.1.50", 51001, "203.0.113.200", 443)};
  return input;
}

TEST(Diagnosis, DefaultsEqualTheDiagnosisOfAnEmptyInput) {
  const Diagnosis fresh;
  const Diagnosis diagnosis = diagnose(DiagnosisInput{});
  EXPECT_EQ(writeReport(fresh), writeReport(diagnosis));
  EXPECT_EQ(diagnosis.configStatus, ConfigStatus::NO_CONFIG);
  EXPECT_EQ(diagnosis.resolution.status, fresh.resolution.status);
  EXPECT_THAT(diagnosis.resolution.visitedTags, IsEmpty());
  EXPECT_EQ(diagnosis.resolution.soughtTag, "");
  EXPECT_EQ(diagnosis.endpoint.status, ActiveEndpointStatus::NOT_EVALUATED_CONFIG_UNAVAILABLE);
  EXPECT_EQ(diagnosis.selection.status, SelectionStatus::NOT_EVALUATED_ENDPOINT_UNAVAILABLE);
}

TEST(Diagnosis, FreshRowsAreZeroAndUnmapped) {
  const DiagnosedInterface interface;
  EXPECT_EQ(interface.ordinal, 0);
  EXPECT_EQ(interface.interfaceIndex, 0U);
  EXPECT_EQ(interface.operStatus, 0);
  EXPECT_EQ(interface.interfaceMetric, 0U);
  const DiagnosedRoute route;
  EXPECT_EQ(route.family, 0);
  EXPECT_EQ(route.interfaceOrdinal, std::nullopt);
  EXPECT_EQ(route.interfaceOrdinalStatus, InterfaceOrdinalStatus::ROUTE_INTERFACE_UNMAPPED);
  EXPECT_EQ(route.routeMetric, 0U);
}

TEST(Diagnosis, ContainsEveryResult) {
  const Diagnosis diagnosis = diagnose(makeInput());
  EXPECT_EQ(diagnosis.configStatus, ConfigStatus::OK);
  EXPECT_TRUE(diagnosis.autoDetectInterface);
  EXPECT_EQ(diagnosis.policy, EgressSelectionPolicy::singbox_auto_detect);
  EXPECT_EQ(diagnosis.resolution.status, ActiveEndpointStatus::OK);
  EXPECT_EQ(diagnosis.resolution.leaf, 2U);
  EXPECT_THAT(diagnosis.resolution.visitedTags, ElementsAre("proxy", "leaf"));
  EXPECT_EQ(diagnosis.endpoint.status, ActiveEndpointStatus::OK);
  EXPECT_TRUE(sameNumericAddress(diagnosis.endpoint.address, parseNumericAddress("198.51.100.10")));
  EXPECT_EQ(diagnosis.endpoint.port, 443U);
  EXPECT_FALSE(diagnosis.selectorHintStale);
  EXPECT_EQ(diagnosis.selection.status, SelectionStatus::OK);
  EXPECT_EQ(diagnosis.selection.ordinal, 1);
  EXPECT_EQ(diagnosis.interfacesStatus, InterfacesStatus::OK);
  EXPECT_EQ(diagnosis.defaultRoutesStatus, DefaultRoutesStatus::SNAPSHOT_INCONSISTENT);
  EXPECT_EQ(diagnosis.socketSourcesStatus, SocketSourcesStatus::OK);
  EXPECT_THAT(diagnosis.observedOrdinals, ElementsAre(1, 2));
}

TEST(Diagnosis, OrdinalsAscendWithTheIndexAndRowsWithEqualIndexesShareOne) {
  DiagnosisInput input;
  input.adapters.rows = {makeInterfaceRow(11, 1, 25, {}), makeInterfaceRow(4, -2, 5, {}),
                         makeInterfaceRow(11, 6, 4294967295U, {})};
  const std::vector<DiagnosedInterface> rows = diagnose(input).interfaces;
  ASSERT_EQ(rows.size(), 3U);
  const auto expectRow = [](const DiagnosedInterface& row, std::int64_t ordinal,
                            std::uint32_t index, std::int32_t status, std::uint32_t metric) {
    EXPECT_EQ(row.ordinal, ordinal);
    EXPECT_EQ(row.interfaceIndex, index);
    EXPECT_EQ(row.operStatus, status);
    EXPECT_EQ(row.interfaceMetric, metric);
  };
  expectRow(rows[0], 1, 4, -2, 5);
  expectRow(rows[1], 2, 11, 1, 25);
  expectRow(rows[2], 2, 11, 6, 4294967295U);
}

TEST(Diagnosis, RouteRowsKeepTheirOrder) {
  const std::vector<DiagnosedRoute> rows = diagnose(makeInput()).defaultRoutes;
  ASSERT_EQ(rows.size(), 3U);
  EXPECT_EQ(rows[1].family, 6);
  EXPECT_EQ(rows[1].interfaceOrdinal, 2);
  EXPECT_EQ(rows[1].interfaceOrdinalStatus, InterfaceOrdinalStatus::OK);
  EXPECT_EQ(rows[1].routeMetric, 256U);
  EXPECT_EQ(rows[2].interfaceOrdinal, std::nullopt);
  EXPECT_EQ(rows[2].interfaceOrdinalStatus, InterfaceOrdinalStatus::ROUTE_INTERFACE_UNMAPPED);
}

TEST(Diagnosis, AFailedSnapshotHasNoRows) {
  DiagnosisInput input = makeInput();
  input.adapters.enumFailed = true;
  const Diagnosis withoutAdapters = diagnose(input);
  EXPECT_EQ(withoutAdapters.interfacesStatus, InterfacesStatus::ADAPTER_ENUM_FAILED);
  EXPECT_THAT(withoutAdapters.interfaces, IsEmpty());
  EXPECT_EQ(withoutAdapters.defaultRoutesStatus, DefaultRoutesStatus::OK);
  ASSERT_EQ(withoutAdapters.defaultRoutes.size(), 3U);
  EXPECT_EQ(withoutAdapters.defaultRoutes[0].interfaceOrdinal, std::nullopt);
  EXPECT_THAT(withoutAdapters.observedOrdinals, IsEmpty());
  EXPECT_EQ(interfaceIndexOf(withoutAdapters, 1), std::nullopt);

  input.routes.enumFailed = true;
  input.sockets.enumFailed = true;
  const Diagnosis withoutAny = diagnose(input);
  EXPECT_EQ(withoutAny.defaultRoutesStatus, DefaultRoutesStatus::ROUTE_ENUM_FAILED);
  EXPECT_THAT(withoutAny.defaultRoutes, IsEmpty());
  EXPECT_EQ(withoutAny.socketSourcesStatus, SocketSourcesStatus::SOCKET_ENUM_FAILED);
  EXPECT_EQ(withoutAny.selection.status, SelectionStatus::NOT_EVALUATED_SOCKET_ENUM_FAILED);
}

TEST(Diagnosis, AnUnusableConfigurationGivesDefaults) {
  DiagnosisInput input = makeInput();
  input.configStatus = ConfigStatus::AUTO_DETECT_INVALID;
  input.selectorHint = "aside";
  const Diagnosis diagnosis = diagnose(input);
  EXPECT_EQ(diagnosis.configStatus, ConfigStatus::AUTO_DETECT_INVALID);
  EXPECT_FALSE(diagnosis.autoDetectInterface);
  EXPECT_EQ(diagnosis.policy, EgressSelectionPolicy::unknown);
  EXPECT_THAT(diagnosis.resolution.visitedTags, IsEmpty());
  EXPECT_FALSE(diagnosis.selectorHintStale);
  EXPECT_THAT(diagnosis.observedOrdinals, ElementsAre(1, 2));
}

TEST(Diagnosis, AHintThatNamesAnIntermediateSelectorIsFresh) {
  DiagnosisInput input = makeInput();
  input.outbounds[1] = makeSelectorOutbound("middle");
  input.selectorAnswers = {makeSelectorAnswer("proxy", SelectorAnswerStatus::Ok, "middle"),
                           makeSelectorAnswer("middle", SelectorAnswerStatus::Ok, "leaf")};
  input.selectorHint = "middle";
  EXPECT_FALSE(diagnose(input).selectorHintStale);
  input.selectorHint = "middle-of-a-previous-session";
  const Diagnosis diagnosis = diagnose(input);
  EXPECT_TRUE(diagnosis.selectorHintStale);
  EXPECT_EQ(diagnosis.endpoint.status, ActiveEndpointStatus::OK);
}

TEST(Diagnosis, OsRoutedObservesASocketToTheEndpointButDoesNotSelectIt) {
  DiagnosisInput input = makeInput();
  input.sockets.rows.pop_back();
  EXPECT_EQ(diagnose(input).selection.ordinal, 1);
  input.autoDetectInterface = false;
  const Diagnosis diagnosis = diagnose(input);
  EXPECT_EQ(diagnosis.policy, EgressSelectionPolicy::os_routed);
  EXPECT_EQ(diagnosis.selection.status, SelectionStatus::NOT_APPLICABLE_OS_ROUTED);
  EXPECT_EQ(diagnosis.selection.ordinal, std::nullopt);
  EXPECT_THAT(diagnosis.observedOrdinals, ElementsAre(1));
}

TEST(Diagnosis, ASocketToAnotherPortDoesNotMatch) {
  DiagnosisInput input = makeInput();
  input.sockets.rows = {makeSocketSource("10.0.0.7", 51000, "198.51.100.10", 444)};
  EXPECT_EQ(diagnose(input).selection.status, SelectionStatus::NO_MATCHING_SOCKET);
}

TEST(Diagnosis, ASocketToAnotherAddressDoesNotMatch) {
  DiagnosisInput input = makeInput();
  input.sockets.rows = {makeSocketSource("10.0.0.7", 51000, "198.51.100.11", 443)};
  EXPECT_EQ(diagnose(input).selection.status, SelectionStatus::NO_MATCHING_SOCKET);
}

TEST(InterfaceIndexOf, ReturnsTheIndexOfAnOrdinalOrNothing) {
  DiagnosisInput input;
  for (const std::uint32_t index : {4294967295U, 7U, 0U, 7U}) {
    input.adapters.rows.push_back(makeInterfaceRow(index, 1, 1, {}));
  }
  const Diagnosis diagnosis = diagnose(input);
  EXPECT_EQ(interfaceIndexOf(diagnosis, 1), 0U);
  EXPECT_EQ(interfaceIndexOf(diagnosis, 2), 7U);
  EXPECT_EQ(interfaceIndexOf(diagnosis, 3), 4294967295U);
  for (const std::int64_t ordinal : {-1, 0, 4}) {
    EXPECT_EQ(interfaceIndexOf(diagnosis, ordinal), std::nullopt) << ordinal;
  }
  EXPECT_EQ(interfaceIndexOf(Diagnosis{}, 1), std::nullopt);
}

}  // namespace
}  // namespace egress::test
