#include "egress/selfcheck/fixtures.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace egress::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

void expectPlainOutbound(const Outbound& outbound, std::string_view tag, std::string_view type,
                         std::string_view server, const std::vector<std::uint32_t>& ports) {
  EXPECT_EQ(outbound.tag, tag);
  EXPECT_EQ(outbound.type, type);
  EXPECT_EQ(outbound.hasServer, !server.empty());
  EXPECT_EQ(outbound.server, server);
  EXPECT_EQ(outbound.portSpecified, !ports.empty());
  EXPECT_EQ(outbound.ports, ports);
  EXPECT_FALSE(outbound.portMalformed);
  EXPECT_FALSE(outbound.portHopping);
  EXPECT_FALSE(outbound.hasTransport);
  EXPECT_EQ(outbound.transportType, "");
}

void expectInterface(const InterfaceRow& row, std::uint32_t index, std::uint32_t metric,
                     const std::string& address) {
  EXPECT_EQ(row.interfaceIndex, index);
  EXPECT_EQ(row.operStatus, 1);
  EXPECT_EQ(row.interfaceMetric, metric);
  EXPECT_THAT(row.addresses, ElementsAre(address));
}

void expectRoute(const RouteRow& row, std::int32_t family, std::uint32_t index,
                 std::uint32_t metric) {
  EXPECT_EQ(row.family, family);
  EXPECT_EQ(row.interfaceIndex, index);
  EXPECT_EQ(row.routeMetric, metric);
}

void expectDefaultHost(const DiagnosisInput& input) {
  EXPECT_EQ(input.configStatus, ConfigStatus::OK);
  EXPECT_FALSE(input.adapters.enumFailed);
  ASSERT_EQ(input.adapters.rows.size(), 2U);
  expectInterface(input.adapters.rows[0], 11, 25, "192.168.1.50");
  expectInterface(input.adapters.rows[1], 5, 5, "10.0.0.7");
  EXPECT_FALSE(input.routes.enumFailed);
  ASSERT_EQ(input.routes.rows.size(), 2U);
  expectRoute(input.routes.rows[0], 4, 5, 0);
  expectRoute(input.routes.rows[1], 6, 11, 256);
  EXPECT_FALSE(input.sockets.enumFailed);
  EXPECT_THAT(input.sockets.rows, IsEmpty());
  EXPECT_THAT(input.selectorAnswers, IsEmpty());
  EXPECT_EQ(input.selectorHint, "");
  ASSERT_EQ(input.outbounds.size(), 1U);
}

TEST(MakeDefaultInput, GivesTheSameHostForEitherFlag) {
  for (const bool autoDetect : {true, false}) {
    SCOPED_TRACE(autoDetect);
    const DiagnosisInput input = makeDefaultInput(autoDetect);
    EXPECT_EQ(input.autoDetectInterface, autoDetect);
    expectDefaultHost(input);
    expectPlainOutbound(input.outbounds[0], "proxy", "shadowsocks", "198.51.100.10", {443});
    EXPECT_EQ(input.outbounds[0].detour, "");
  }
}

TEST(MakeInputWithOutbound, ReplacesOnlyTheOutbounds) {
  const DiagnosisInput input = makeInputWithOutbound(makeOutbound("a", "vmess", "192.0.2.1", 1));
  EXPECT_TRUE(input.autoDetectInterface);
  expectDefaultHost(input);
  expectPlainOutbound(input.outbounds[0], "a", "vmess", "192.0.2.1", {1});
}

TEST(MakeOutbound, HasNoServerOrPortWithoutArguments) {
  expectPlainOutbound(makeOutbound("direct", "direct", "", 0), "direct", "direct", "", {});
}

TEST(MakeOutbound, AddsAPortOnlyIfPositive) {
  EXPECT_THAT(makeOutbound("t", "x", "", 1).ports, ElementsAre(1));
  EXPECT_THAT(makeOutbound("t", "x", "", 2147483647).ports, ElementsAre(2147483647));
  EXPECT_THAT(makeOutbound("t", "x", "", 0).ports, IsEmpty());
  EXPECT_FALSE(makeOutbound("t", "x", "", -1).portSpecified);
  EXPECT_THAT(makeOutbound("t", "x", "", -1).ports, IsEmpty());
}

TEST(MakeDetourOutbound, HasAnEndpointAndADetour) {
  const Outbound outbound = makeDetourOutbound("proxy", "hop");
  expectPlainOutbound(outbound, "proxy", "shadowsocks", "203.0.113.9", {8443});
  EXPECT_EQ(outbound.detour, "hop");
}

TEST(MakeSelectorOutbound, HasOnlyATagAndTheType) {
  const Outbound outbound = makeSelectorOutbound("proxy");
  expectPlainOutbound(outbound, "proxy", "selector", "", {});
  EXPECT_EQ(outbound.detour, "");
}

TEST(MakeSelectorAnswer, KeepsItsThreeFields) {
  const SelectorAnswer answer =
      makeSelectorAnswer("proxy", SelectorAnswerStatus::NowMissing, "node_3");
  EXPECT_EQ(answer.selectorTag, "proxy");
  EXPECT_EQ(answer.status, SelectorAnswerStatus::NowMissing);
  EXPECT_EQ(answer.now, "node_3");
}

TEST(MakeSocketSource, KeepsItsFourFields) {
  const SocketSource socket = makeSocketSource("10.0.0.7", 51000, "198.51.100.10", 443);
  EXPECT_EQ(socket.localAddress, "10.0.0.7");
  EXPECT_EQ(socket.localPort, 51000U);
  EXPECT_EQ(socket.remoteAddress, "198.51.100.10");
  EXPECT_EQ(socket.remotePort, 443U);
}

TEST(MakeInterfaceRow, KeepsItsFourFields) {
  const InterfaceRow row = makeInterfaceRow(7, -2, 30, {"192.0.2.1", "<missing>"});
  EXPECT_EQ(row.interfaceIndex, 7U);
  EXPECT_EQ(row.operStatus, -2);
  EXPECT_EQ(row.interfaceMetric, 30U);
  EXPECT_THAT(row.addresses, ElementsAre("192.0.2.1", "<missing>"));
}

}  // namespace
}  // namespace egress::test
