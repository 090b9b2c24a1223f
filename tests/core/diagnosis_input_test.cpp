#include "egress/core/diagnosis_input.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <variant>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "egress/core/diagnose_egress.h"
#include "egress/core/report_table.h"
#include "egress/selfcheck/fixtures.h"
#include "egress/selfcheck/report_readers.h"

namespace egress::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

template <typename Actual, typename Expected>
constexpr bool kSameType = std::is_same_v<std::remove_cvref_t<Actual>, Expected>;

std::size_t rowCount(const EgressReport& report, std::string_view key) {
  const std::vector<ReportRow>* const rows = reportRows(report, key);
  return rows == nullptr ? 999 : rows->size();
}

TEST(DiagnosisInput, DefaultsAreNoConfigurationAndNoRows) {
  const DiagnosisInput input;
  EXPECT_EQ(input.configStatus, ConfigStatus::NO_CONFIG);
  EXPECT_EQ(static_cast<std::uint32_t>(input.configStatus), 1U);
  EXPECT_FALSE(input.autoDetectInterface);
  EXPECT_THAT(input.outbounds, IsEmpty());
  EXPECT_FALSE(input.adapters.enumFailed);
  EXPECT_THAT(input.adapters.rows, IsEmpty());
  EXPECT_FALSE(input.routes.enumFailed);
  EXPECT_THAT(input.routes.rows, IsEmpty());
  EXPECT_FALSE(input.sockets.enumFailed);
  EXPECT_THAT(input.sockets.rows, IsEmpty());
  EXPECT_THAT(input.selectorAnswers, IsEmpty());
  EXPECT_THAT(input.selectorHint, IsEmpty());
}

TEST(DiagnosisInput, MembersHaveTheirOrderAndTypes) {
  const DiagnosisInput input;
  const auto& [configStatus, autoDetectInterface, outbounds, adapters, routes, sockets,
               selectorAnswers, selectorHint] = input;
  static_assert(kSameType<decltype(configStatus), ConfigStatus>);
  static_assert(kSameType<decltype(autoDetectInterface), bool>);
  static_assert(kSameType<decltype(outbounds), std::vector<Outbound>>);
  static_assert(kSameType<decltype(adapters), AdapterSnapshot>);
  static_assert(kSameType<decltype(routes), RouteSnapshot>);
  static_assert(kSameType<decltype(sockets), SocketSnapshot>);
  static_assert(kSameType<decltype(selectorAnswers), std::vector<SelectorAnswer>>);
  static_assert(kSameType<decltype(selectorHint), std::string>);
  EXPECT_EQ(&selectorHint, &input.selectorHint);
  EXPECT_EQ(&adapters, &input.adapters);
}

TEST(DiagnosisInput, DefaultRowsAreZeroAndEmpty) {
  const InterfaceRow adapter;
  EXPECT_EQ(adapter.interfaceIndex, 0U);
  EXPECT_EQ(adapter.operStatus, 0);
  EXPECT_EQ(adapter.interfaceMetric, 0U);
  EXPECT_THAT(adapter.addresses, IsEmpty());

  const RouteRow route;
  EXPECT_EQ(route.family, 0);
  EXPECT_EQ(route.interfaceIndex, 0U);
  EXPECT_EQ(route.routeMetric, 0U);

  const SocketSource socket;
  EXPECT_THAT(socket.localAddress, IsEmpty());
  EXPECT_EQ(socket.localPort, 0U);
  EXPECT_THAT(socket.remoteAddress, IsEmpty());
  EXPECT_EQ(socket.remotePort, 0U);
}

TEST(DiagnosisInput, RowsHaveTheirFieldOrderAndHoldExtremeValues) {
  const InterfaceRow adapter{4294967295U, -2147483647 - 1, 4294967294U, {"10.0.0.7"}};
  EXPECT_EQ(adapter.interfaceIndex, 4294967295U);
  EXPECT_EQ(adapter.operStatus, -2147483647 - 1);
  EXPECT_EQ(adapter.interfaceMetric, 4294967294U);
  EXPECT_THAT(adapter.addresses, ElementsAre("10.0.0.7"));

  const RouteRow route{-6, 4294967295U, 4294967294U};
  EXPECT_EQ(route.family, -6);
  EXPECT_EQ(route.interfaceIndex, 4294967295U);
  EXPECT_EQ(route.routeMetric, 4294967294U);

  const SocketSource socket{"10.0.0.7", 4294967295U, "198.51.100.10", 4294967294U};
  EXPECT_EQ(socket.localAddress, "10.0.0.7");
  EXPECT_EQ(socket.localPort, 4294967295U);
  EXPECT_EQ(socket.remoteAddress, "198.51.100.10");
  EXPECT_EQ(socket.remotePort, 4294967294U);
}

TEST(DiagnosisInput, ASnapshotHasAFlagAndThenRows) {
  const AdapterSnapshot adapters{true, {InterfaceRow{}, InterfaceRow{}}};
  EXPECT_TRUE(adapters.enumFailed);
  EXPECT_EQ(adapters.rows.size(), 2U);
  const RouteSnapshot routes{true, {RouteRow{}}};
  EXPECT_TRUE(routes.enumFailed);
  EXPECT_EQ(routes.rows.size(), 1U);
  const SocketSnapshot sockets{false, {SocketSource{}}};
  EXPECT_FALSE(sockets.enumFailed);
  EXPECT_EQ(sockets.rows.size(), 1U);
}

TEST(DiagnosisInput, SetProxyConfigMovesTheConfigurationIntoThreeMembers) {
  ProxyConfig config = {.configStatus = ConfigStatus::AUTO_DETECT_INVALID,
                        .autoDetectInterface = true,
                        .outbounds = {makeOutbound("a", "vmess", "192.0.2.1", 1),
                                      makeOutbound("b", "vless", "192.0.2.2", 2)}};
  const Outbound* const storage = config.outbounds.data();
  DiagnosisInput input;
  setProxyConfig(input, std::move(config));
  EXPECT_EQ(input.configStatus, ConfigStatus::AUTO_DETECT_INVALID);
  EXPECT_TRUE(input.autoDetectInterface);
  ASSERT_EQ(input.outbounds.size(), 2U);
  EXPECT_EQ(input.outbounds[0].tag, "a");
  EXPECT_EQ(input.outbounds[1].tag, "b");
  EXPECT_EQ(input.outbounds.data(), storage) << "copied instead of moved";
}

TEST(DiagnosisInput, SetProxyConfigKeepsTheOtherMembers) {
  DiagnosisInput input = makeDefaultInput(true);
  input.sockets.rows.push_back(makeSocketSource("10.0.0.7", 51000, "198.51.100.10", 443));
  input.selectorAnswers.push_back(makeSelectorAnswer("s", SelectorAnswerStatus::Ok, "x"));
  input.selectorHint = "x";
  setProxyConfig(input, ProxyConfig{});
  EXPECT_EQ(input.configStatus, ConfigStatus::NO_CONFIG);
  EXPECT_FALSE(input.autoDetectInterface);
  EXPECT_THAT(input.outbounds, IsEmpty());
  EXPECT_EQ(input.adapters.rows.size(), 2U);
  EXPECT_EQ(input.routes.rows.size(), 2U);
  EXPECT_EQ(input.sockets.rows.size(), 1U);
  EXPECT_EQ(input.selectorAnswers.size(), 1U);
  EXPECT_EQ(input.selectorHint, "x");
}

TEST(DiagnosisInput, ACopyOwnsAllItsStringsAndRows) {
  auto original = std::make_unique<DiagnosisInput>(makeDefaultInput(true));
  original->sockets.rows.push_back(makeSocketSource("10.0.0.7", 51000, "198.51.100.10", 443));
  original->selectorHint = "a hint that is too long for the string object itself";
  DiagnosisInput copy = *original;
  original->adapters.rows[1].addresses[0] = "10.0.0.8";
  original->sockets.rows[0].remoteAddress = "203.0.113.1";
  original->outbounds[0].tag = "other";
  original->selectorHint[0] = 'A';
  original.reset();
  EXPECT_EQ(copy.outbounds[0].tag, "proxy");
  EXPECT_THAT(copy.adapters.rows[1].addresses, ElementsAre("10.0.0.7"));
  EXPECT_EQ(copy.sockets.rows[0].remoteAddress, "198.51.100.10");
  EXPECT_EQ(copy.selectorHint, "a hint that is too long for the string object itself");
}

TEST(DiagnosisInput, DefaultsGiveNoConfigAndPolicyUnknown) {
  const EgressReport report = diagnoseEgress(DiagnosisInput{});
  EXPECT_EQ(reportString(report, "configStatus"), "NO_CONFIG");
  EXPECT_EQ(reportString(report, "egressSelectionPolicy"), "unknown");
}

TEST(DiagnosisInput, RowsWithEqualInterfaceIndexesShareAnOrdinal) {
  DiagnosisInput input;
  input.adapters.rows = {makeInterfaceRow(7, 1, 10, {}), makeInterfaceRow(7, 1, 10, {}),
                         makeInterfaceRow(8, 1, 10, {})};
  const EgressReport report = diagnoseEgress(input);
  ASSERT_EQ(rowCount(report, "interfaces"), 3U);
  std::vector<std::int64_t> ordinals;
  for (const ReportRow& row : *reportRows(report, "interfaces")) {
    ordinals.push_back(rowInteger(row, "ordinal"));
  }
  EXPECT_THAT(ordinals, ElementsAre(1, 1, 2));
}

TEST(DiagnosisInput, InvalidAddressesAreKeptAndNeverMatch) {
  const std::vector<std::string> texts = {"<missing>", "host.example.com", "", "10.0.0.7 ",
                                          std::string("10.0.0.7\0", 9)};
  for (const std::string& text : texts) {
    SCOPED_TRACE(text);
    DiagnosisInput input = makeDefaultInput(true);
    input.adapters.rows.push_back(makeInterfaceRow(20, 1, 1, {text}));
    input.sockets.rows = {makeSocketSource(text, 51000, "198.51.100.10", 443)};
    const EgressReport report = diagnoseEgress(input);
    EXPECT_EQ(input.adapters.rows[2].addresses[0], text);
    EXPECT_EQ(input.sockets.rows[0].localAddress, text);
    EXPECT_EQ(reportString(report, "selectionStatus"), "SOCKET_SOURCE_ADDRESS_UNMAPPED");
    EXPECT_EQ(rowCount(report, "observedSocketSources"), 0U);
  }
}

TEST(DiagnosisInput, ARowWithInvalidAddressesMatchesByItsValidOnes) {
  DiagnosisInput input = makeDefaultInput(true);
  input.adapters.rows[1].addresses = {"<missing>", "host.example.com", "10.0.0.7"};
  input.sockets.rows = {makeSocketSource("10.0.0.7", 51000, "198.51.100.10", 443)};
  EXPECT_EQ(reportInteger(diagnoseEgress(input), "selectedInterfaceOrdinal"), 1);
}

TEST(DiagnosisInput, RowsOfAFailedSnapshotAreIgnored) {
  DiagnosisInput input = makeDefaultInput(true);
  input.sockets.rows = {makeSocketSource("10.0.0.7", 51000, "198.51.100.10", 443)};
  input.adapters.enumFailed = true;
  input.routes.enumFailed = true;
  input.sockets.enumFailed = true;
  const EgressReport report = diagnoseEgress(input);
  EXPECT_EQ(rowCount(report, "interfaces"), 0U);
  EXPECT_EQ(rowCount(report, "defaultRoutes"), 0U);
  EXPECT_EQ(rowCount(report, "observedSocketSources"), 0U);
}

bool isDeclared(std::string_view key, const std::string& word) {
  const auto hasWord = [&](const ReportField& field) {
    if (field.key != key || field.declaredWords == nullptr) return false;
    const WordList& words = field.declaredWords();
    return std::ranges::find(words, word) != words.end();
  };
  return std::ranges::any_of(kReportMembers, [&](const ReportMemberField& member) {
    return hasWord(member.field) || std::ranges::any_of(member.columns, hasWord);
  });
}

void expectOnlyDeclaredWords(const EgressReport& report) {
  const auto expectDeclared = [](std::string_view key, const ReportScalar& scalar) {
    if (scalar.kind != ReportKind::String) return;
    EXPECT_TRUE(isDeclared(key, scalar.stringValue)) << key;
  };
  for (const ReportMember& member : report.members) {
    if (const auto* scalar = std::get_if<ReportScalar>(&member.value)) {
      expectDeclared(member.key, *scalar);
      continue;
    }
    for (const ReportRow& row : std::get<std::vector<ReportRow>>(member.value)) {
      for (const auto& [key, scalar] : row) expectDeclared(key, scalar);
    }
  }
}

std::string repeated(std::string_view pattern) {
  constexpr std::size_t kMegabyte = 1U << 20U;
  std::string text;
  while (text.size() < kMegabyte) text += pattern;
  return text;
}

constexpr std::uint32_t kMaxUnsigned = std::numeric_limits<std::uint32_t>::max();
constexpr std::int32_t kMinSigned = std::numeric_limits<std::int32_t>::min();

// Every text is `junk`, every number is an extreme value, and there are thousands of rows.
DiagnosisInput makeHostileInput(const std::string& junk) {
  constexpr std::size_t kRows = 2000;
  DiagnosisInput input;
  Outbound outbound = makeOutbound(junk, junk, junk, 1);
  outbound.detour = junk;
  outbound.hasTransport = true;
  outbound.transportType = junk;
  outbound.ports = {0};
  input.configStatus = ConfigStatus::OK;
  input.autoDetectInterface = true;
  input.outbounds = {outbound};
  input.adapters.rows.assign(kRows, makeInterfaceRow(kMaxUnsigned, kMinSigned, kMaxUnsigned, {}));
  input.adapters.rows.back().addresses = {junk, junk};
  input.routes.rows.assign(kRows, {kMinSigned, kMaxUnsigned, kMaxUnsigned});
  input.sockets.rows.assign(kRows, makeSocketSource("", kMaxUnsigned, "", kMaxUnsigned));
  input.sockets.rows.back() = makeSocketSource(junk, kMaxUnsigned, junk, 0);
  input.selectorAnswers = {makeSelectorAnswer(junk, SelectorAnswerStatus{77}, junk)};
  input.selectorHint = junk;
  return input;
}

TEST(DiagnosisInput, AHostileInputGivesOnlyDeclaredWords) {
  const std::string allBytes = "\x01\x7F\x80\xFE\xFF \"\\\n<missing>%[" + std::string(3, '\0');
  for (const std::string& pattern : {allBytes, std::string(1, '\0'), std::string("1:")}) {
    SCOPED_TRACE(testing::PrintToString(pattern));
    const std::string junk = repeated(pattern);
    DiagnosisInput input = makeHostileInput(junk);
    EgressReport report = diagnoseEgress(input);
    expectOnlyDeclaredWords(report);
    EXPECT_EQ(reportString(report, "activeEndpointStatus"), "OUTBOUND_NOT_FOUND");
    EXPECT_EQ(report.members.size(), 13U);
    EXPECT_EQ(rowCount(report, "interfaces"), 2000U);
    EXPECT_EQ(rowCount(report, "defaultRoutes"), 2000U);
    EXPECT_EQ(rowCount(report, "observedSocketSources"), 0U);

    input.outbounds.push_back(makeDetourOutbound("proxy", junk));
    report = diagnoseEgress(input);
    expectOnlyDeclaredWords(report);
    EXPECT_EQ(reportString(report, "activeEndpointStatus"), "DETOUR_CYCLE");

    input.outbounds.front().detour.clear();
    report = diagnoseEgress(input);
    expectOnlyDeclaredWords(report);
    EXPECT_EQ(reportString(report, "activeEndpointStatus"), "ENDPOINT_NOT_NUMERIC");

    input.configStatus = ConfigStatus{kMaxUnsigned};
    expectOnlyDeclaredWords(diagnoseEgress(input));
  }
}

}  // namespace
}  // namespace egress::test
