// Allocations and out-of-memory behaviour of the diagnosis, its parts and the report.

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "egress/core/diagnose_egress.h"
#include "egress/core/interface_mapping.h"
#include "egress/core/select_interface.h"
#include "egress/core/status_words.h"
#include "tests/memory/declared_lists.h"
#include "tests/memory/fail_each_allocation.h"
#include "tests/memory/large_input.h"
#include "tests/support/record_equality.h"
#include "tests/support/report_builder.h"

namespace egress::test {
namespace {

constexpr std::string_view kLongText = "a text that is too long for the small-string buffer";

// Enough rows that every list and table grows. Adapters share indexes, to test the sorting.
TEST(CoreMemory, ADiagnosisThrowsOnEveryFailure) {
  const DiagnosisInput input = largeInput(4, 20);
  const DiagnosisInput before = input;
  EgressReport report;
  const std::size_t failures = failEachAllocation([&] { report = diagnoseEgress(input); },
                                                  [&] {
                                                    EXPECT_TRUE(input == before);
                                                    EXPECT_TRUE(report.members.empty());
                                                  });
  EXPECT_GT(failures, 100U);
  EXPECT_TRUE(report == diagnoseEgress(before));
  const ReportMember* const status = findReportMember(report, "selectionStatus");
  ASSERT_NE(status, nullptr);
  EXPECT_EQ(std::get<ReportScalar>(status->value), stringScalar("OK"));
}

TEST(CoreMemory, WritingAReportThrowsOnEveryFailure) {
  const Diagnosis diagnosis = diagnose(largeInput(4, 20));
  const EgressReport expected = writeReport(diagnosis);
  EgressReport report;
  const std::size_t failures = failEachAllocation([&] { report = writeReport(diagnosis); },
                                                  [&] { EXPECT_TRUE(report.members.empty()); });
  EXPECT_GT(failures, 50U);
  EXPECT_TRUE(report == expected);
}

TEST(CoreMemory, AFailedCopyOfAConfigurationDoesNotChangeTheInput) {
  DiagnosisInput input = largeInput(3, 2);
  const DiagnosisInput before = input;
  const ProxyConfig config = {.configStatus = ConfigStatus::OK,
                              .autoDetectInterface = false,
                              .outbounds = largeInput(5, 1).outbounds};
  const std::size_t failures = failEachAllocation([&] { setProxyConfig(input, config); },
                                                  [&] { EXPECT_TRUE(input == before); });
  EXPECT_GT(failures, 10U);
  EXPECT_FALSE(input.autoDetectInterface);
  EXPECT_TRUE(input.outbounds == config.outbounds);
}

TEST(CoreMemory, MovingAConfigurationDoesNotAllocate) {
  DiagnosisInput input = largeInput(3, 2);
  ProxyConfig config = {.configStatus = ConfigStatus::OK,
                        .autoDetectInterface = true,
                        .outbounds = largeInput(5, 1).outbounds};
  EXPECT_EQ(allocationsOf([&] { setProxyConfig(input, std::move(config)); }), 0U);
  EXPECT_EQ(input.outbounds.size(), 6U);
}

TEST(CoreMemory, OnlyLookupsInASnapshotAllocate) {
  const DiagnosisInput input = largeInput(1, 20);
  const OrdinalTable ordinals = makeOrdinalTable(input.adapters);
  const AddressTable addresses = makeAddressTable(input.adapters, ordinals);
  const std::string& address = input.adapters.rows.front().addresses.front();

  std::optional<std::int64_t> ordinal;
  EXPECT_EQ(allocationsOf([&] { ordinal = ordinalOf(ordinals, 10); }), 0U);
  EXPECT_EQ(ordinal, 11);
  InterfaceMapping mapping;
  EXPECT_EQ(allocationsOf([&] { mapping = mapAddressToInterface(addresses, address); }), 0U);
  EXPECT_EQ(mapping.ordinal, 11);

  const auto check = [&] { EXPECT_EQ(mapping.kind, MappingKind::Unmapped); };
  mapping = {};
  EXPECT_GT(failEachAllocation(
                [&] { mapping = mapAddressToInterface(input.adapters, ordinals, address); }, check),
            3U);
  EXPECT_EQ(mapping.ordinal, 11);
}

TEST(CoreMemory, SelectingAnInterfaceDoesNotAllocate) {
  SelectionInput input;
  input.policy = EgressSelectionPolicy::singbox_auto_detect;
  input.endpoint = ActiveEndpointStatus::OK;
  const InterfaceMapping source = {.kind = MappingKind::Unique, .ordinal = 3};
  EXPECT_EQ(allocationsOf([&] { addMatch(input.matches, source); }), 0U);
  Selection selection;
  EXPECT_EQ(allocationsOf([&] { selection = selectInterface(input); }), 0U);
  EXPECT_EQ(selection.ordinal, 3);
}

TEST(CoreMemory, MappingSocketsAllocatesOnce) {
  const DiagnosisInput input = largeInput(1, 20);
  const OrdinalTable ordinals = makeOrdinalTable(input.adapters);
  const AddressTable addresses = makeAddressTable(input.adapters, ordinals);
  const ActiveEndpoint endpoint = {
      .status = ActiveEndpointStatus::OK, .address = parseNumericAddress("192.0.2.1"), .port = 443};
  MappedSockets mapped;
  const auto map = [&] { mapped = mapSockets(input.sockets, endpoint, addresses, ordinals); };
  EXPECT_EQ(failEachAllocation(map, [&] { EXPECT_TRUE(mapped.observed.empty()); }), 1U);
  EXPECT_EQ(mapped.observed.size(), ordinals.interfaceIndexes.size());
}

TEST(CoreMemory, OnlyAStringScalarAllocates) {
  EXPECT_EQ(allocationsOf([] { EXPECT_EQ(nullScalar().kind, ReportKind::Null); }), 0U);
  EXPECT_EQ(allocationsOf([] { EXPECT_TRUE(booleanScalar(true).boolValue); }), 0U);
  EXPECT_EQ(allocationsOf([] { EXPECT_EQ(integerScalar(-1).intValue, -1); }), 0U);
  ReportScalar scalar;
  EXPECT_GT(failEachAllocation([&] { scalar = stringScalar(kLongText); },
                               [&] { EXPECT_EQ(scalar, nullScalar()); }),
            0U);
  EXPECT_EQ(scalar.stringValue, kLongText);
}

TEST(CoreMemory, FindingAMemberDoesNotAllocate) {
  EgressReport report;
  insertMember(report, kLongText, stringScalar(kLongText));
  const ReportMember* found = nullptr;
  EXPECT_EQ(allocationsOf([&] { found = findReportMember(report, kLongText); }), 0U);
  EXPECT_EQ(found, report.members.data());
}

TEST(CoreMemory, ToStringDoesNotAllocate) {
  std::size_t bytes = 0;
  const auto ask = [&bytes](auto status) {
    EXPECT_EQ(allocationsOf([&] { bytes += std::string_view(toString(status)).size(); }), 0U);
  };
  for (std::uint32_t number = 0; number < 20; ++number) {
    ask(ConfigStatus{number});
    ask(EgressSelectionPolicy{number});
    ask(ActiveEndpointStatus{number});
    ask(SelectionStatus{number});
    ask(InterfacesStatus{number});
    ask(DefaultRoutesStatus{number});
    ask(SocketSourcesStatus{number});
    ask(InterfaceOrdinalStatus{number});
  }
  EXPECT_GT(bytes, 0U);
}

// Each list is built once per process, so no other test of this program may use one.
TEST(CoreMemory, ADeclaredListIsBuiltAfterAFailedFirstCall) {
  static bool made = false;
  if (std::exchange(made, true)) GTEST_SKIP() << "the first run built the lists";
  for (const DeclaredList& list : kDeclaredLists) {
    SCOPED_TRACE(list.name);
    const std::vector<std::string>* words = nullptr;
    EXPECT_GT(failEachAllocation([&] { words = &list.get(); }, [&] { EXPECT_EQ(words, nullptr); }),
              1U);
    ASSERT_NE(words, nullptr);
    EXPECT_EQ(*words, list.expected());
    EXPECT_EQ(allocationsOf([&] { words = &list.get(); }), 0U);
  }
}

}  // namespace
}  // namespace egress::test
