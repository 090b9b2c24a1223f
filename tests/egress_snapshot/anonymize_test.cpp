#include "egress_snapshot/anonymize.h"

#include <array>
#include <set>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "egress/core/diagnose_egress.h"
#include "egress_snapshot/snapshot_json.h"
#include "tests/egress_snapshot/full_snapshot.h"
#include "tests/egress_snapshot/selected_snapshot.h"
#include "tests/support/snapshot_equality.h"

namespace egress::snapshot {
namespace {

using Json = nlohmann::ordered_json;

// Anonymizes, and checks what holds for every record: the report stays, and so does the anonymized
// record itself when it is anonymized again.
HostSnapshot anonymizedOf(const HostSnapshot& snapshot) {
  const Result<HostSnapshot> result = anonymized(snapshot);
  if (const auto* const refusal = std::get_if<Refusal>(&result)) {
    ADD_FAILURE() << toString(*refusal);
    return snapshot;
  }
  const auto& found = std::get<HostSnapshot>(result);
  EXPECT_EQ(diagnoseEgress(toInput(found)), diagnoseEgress(toInput(snapshot)));
  EXPECT_EQ(std::get<HostSnapshot>(anonymized(found)), found);
  return found;
}

TEST(Anonymize, ReplacesEqualValuesByEqualOnesInTheOrderOfTheirOccurrence) {
  HostSnapshot wanted = selectedSnapshot();
  wanted.origin = {};
  auto& outbounds = wanted.config.outbounds;
  outbounds[1].tag = "tag-1";
  outbounds[1].server = "192.0.2.1";
  outbounds[2].tag = "tag-2";
  outbounds[2].server = "host-1.example";
  outbounds[3].tag = "tag-3";
  outbounds[3].server = "::ffff:192.0.2.1";
  wanted.selectorAnswers[0].now = "tag-1";
  wanted.selectorHint = "tag-2";
  wanted.processes = {};
  wanted.adapters.failureReason = "";
  auto& adapters = wanted.adapters.rows;
  adapters[0].name = "if3";  // of the indexes 7, 39 and 40
  adapters[0].interfaceIndex = 3;
  adapters[0].addresses = {"10.0.0.1", "fd00::1", "fe80::1"};
  adapters[1].name = "if1";
  adapters[1].interfaceIndex = 1;
  adapters[1].addresses = {"10.0.0.2", "fe80::1"};
  adapters[2].name = "if3";
  adapters[2].interfaceIndex = 3;
  wanted.routes.failureReason = "";
  wanted.routes.rows[0].interfaceIndex = 3;
  wanted.routes.rows[1].interfaceIndex = 2;
  wanted.sockets.failureReason = "";
  auto& sockets = wanted.sockets.rows;
  sockets[0].localAddress = "10.0.0.1";
  sockets[0].remoteAddress = "192.0.2.1";
  sockets[0].boundInterfaceIndex = 3;
  sockets[0].user = std::nullopt;
  sockets[0].routeInterfaceIndex = 1;
  sockets[1].localAddress = "10.0.0.1";
  sockets[1].remoteAddress = "192.0.2.2";
  sockets[2].localAddress = "10.0.0.2";
  sockets[2].remoteAddress = "192.0.2.2";
  sockets[3].localAddress = "fd00::1";
  sockets[3].remoteAddress = "2001:db8::1";
  EXPECT_EQ(anonymizedOf(selectedSnapshot()), wanted);
}

TEST(Anonymize, KeepsEverythingElse) {
  HostSnapshot wanted = fullSnapshot();
  wanted.origin = {};
  wanted.config.outbounds[0].tag = "tag-1";
  wanted.config.outbounds[0].detour = "tag-2";
  wanted.config.outbounds[0].server = "2001:db8::1";
  wanted.config.outbounds[1].tag = "tag-3";
  wanted.selectorAnswers[0].selectorTag = "tag-1";
  wanted.selectorAnswers[0].now = "tag-3";
  wanted.selectorAnswers[1].selectorTag = "tag-4";
  wanted.selectorAnswers[2].selectorTag = "tag-5";
  wanted.selectorAnswers[3].selectorTag = "tag-6";
  wanted.selectorAnswers[3].now = "tag-7";
  wanted.selectorHint = "tag-1";
  wanted.processes = {};
  wanted.adapters.failureReason = "";
  wanted.adapters.rows[0].name = "if3";  // of the indexes 0, 7 and 4294967295
  wanted.adapters.rows[0].interfaceIndex = 3;
  wanted.adapters.rows[0].addresses = {"10.0.0.1", "host-1.example"};
  wanted.adapters.rows[1].interfaceIndex = 1;
  wanted.routes.failureReason = "";
  wanted.routes.rows[0].interfaceIndex = 2;
  wanted.routes.rows[1].interfaceIndex = 1;
  wanted.sockets.failureReason = "";
  wanted.sockets.rows[0].localAddress = "10.0.0.1";
  wanted.sockets.rows[0].remoteAddress = "host-2.example";
  wanted.sockets.rows[0].user = std::nullopt;
  wanted.sockets.rows[0].routeInterfaceIndex = 2;
  EXPECT_EQ(anonymizedOf(fullSnapshot()), wanted);
}

TEST(Anonymize, AFreshRecordStaysFresh) {
  EXPECT_EQ(anonymizedOf({}), HostSnapshot{});
}

TEST(Anonymize, TheReportOfTheExampleSelectsTheSecondInterface) {
  const EgressReport report = diagnoseEgress(toInput(anonymizedOf(selectedSnapshot())));
  const auto valueOf = [&report](std::string_view key) {
    return std::get<ReportScalar>(findReportMember(report, key)->value);
  };
  EXPECT_EQ(valueOf("selectionStatus"), stringScalar("OK"));
  EXPECT_EQ(valueOf("selectedInterfaceOrdinal"), integerScalar(2));
  EXPECT_EQ(valueOf("selectorHintStale"), booleanScalar(true));
  EXPECT_EQ(valueOf("defaultRoutesStatus"), stringScalar("SNAPSHOT_INCONSISTENT"));
}

TEST(Anonymize, TheReportStaysWithoutAnyOneRow) {
  const Json full = Json::parse(snapshotToJson(selectedSnapshot()));
  std::size_t count = 0;
  for (const std::string_view list :
       {"/config/outbounds", "/selectorAnswers", "/adapters/rows", "/routes/rows", "/sockets/rows",
        "/adapters/rows/0/addresses", "/adapters/rows/1/addresses"}) {
    const Json::json_pointer place{std::string(list)};
    for (std::size_t i = 0; i < full.at(place).size(); ++i) {
      Json object = full;
      object.at(place).erase(i);
      anonymizedOf(std::get<HostSnapshot>(snapshotFromJson(object.dump())));
      ++count;
    }
  }
  EXPECT_EQ(count, 4U + 1U + 3U + 2U + 4U + 3U + 2U);
}

TEST(Anonymize, TheReportStaysWhenListsFailed) {
  for (const unsigned failed : {1U, 2U, 4U, 7U}) {
    HostSnapshot snapshot = selectedSnapshot();
    snapshot.adapters.enumFailed = (failed & 1U) != 0;
    snapshot.routes.enumFailed = (failed & 2U) != 0;
    snapshot.sockets.enumFailed = (failed & 4U) != 0;
    const HostSnapshot found = anonymizedOf(snapshot);
    EXPECT_EQ(found.sockets.rows, anonymizedOf(selectedSnapshot()).sockets.rows);
  }
}

TEST(Anonymize, LeavesNoNameTagAddressOrOrigin) {
  const std::string text = snapshotToJson(anonymizedOf(selectedSnapshot()));
  const std::string before = snapshotToJson(selectedSnapshot());
  for (const std::string_view secret :
       {"Tokyo",   "Osaka", "Kyoto", "osaka", "tokyo",   "93.184", "10.20",
        "8.8.8.8", "fd12",  "1234",  "2a00",  "private", "probe",  "2026",
        "1.2.3",   "Linux", "4711",  "alice", "1000",    "eth",    "wlan"}) {
    EXPECT_NE(before.find(secret), std::string::npos) << secret;
    EXPECT_EQ(text.find(secret), std::string::npos) << secret;
  }
}

TEST(Anonymize, NumbersNamesByTheirFirstOccurrence) {
  HostSnapshot snapshot;
  auto& outbounds = snapshot.config.outbounds;
  outbounds = {makeOutbound("a", "", "x.net"), makeOutbound("b", "", "y.net"),
               makeOutbound("", "", "x.net"), makeOutbound("proxy", "", "a")};
  outbounds[0].detour = "b";
  outbounds[1].detour = "a";
  outbounds[2].detour = "proxy";
  snapshot.selectorHint = "c";
  const HostSnapshot found = anonymizedOf(snapshot);
  const auto& replaced = found.config.outbounds;
  EXPECT_EQ(replaced[0].tag, "tag-1");
  EXPECT_EQ(replaced[0].detour, "tag-2");
  EXPECT_EQ(replaced[0].server, "host-1.example");
  EXPECT_EQ(replaced[1].tag, "tag-2");
  EXPECT_EQ(replaced[1].detour, "tag-1");
  EXPECT_EQ(replaced[1].server, "host-2.example");
  EXPECT_EQ(replaced[2].tag, "");
  EXPECT_EQ(replaced[2].detour, "proxy");
  EXPECT_EQ(replaced[2].server, "host-1.example");
  EXPECT_EQ(replaced[3].tag, "proxy");
  EXPECT_EQ(replaced[3].server, "host-3.example");
  EXPECT_EQ(found.selectorHint, "tag-3");
}

struct TypeRow {
  std::string_view type;
  std::string_view wanted;
};

TEST(Anonymize, ReplacesOnlyTypesThatTheCoreDoesNotKnow) {
  for (const TypeRow& row : std::to_array<TypeRow>({
           {.type = "selector", .wanted = "selector"},
           {.type = "urltest", .wanted = "urltest"},
           {.type = "direct", .wanted = "direct"},
           {.type = "block", .wanted = "block"},
           {.type = "dns", .wanted = "dns"},
           {.type = "vmess", .wanted = "vmess"},
           {.type = "vless", .wanted = "vless"},
           {.type = "trojan", .wanted = "trojan"},
           {.type = "anytls", .wanted = "anytls"},
           {.type = "shadowsocks", .wanted = "shadowsocks"},
           {.type = "hysteria", .wanted = "hysteria"},
           {.type = "hysteria2", .wanted = "hysteria2"},
           {.type = "tuic", .wanted = "tuic"},
           {.type = "", .wanted = ""},
           {.type = "alice", .wanted = "other"},
           {.type = "VLESS", .wanted = "other"},
           {.type = "ws", .wanted = "other"},
           {.type = "other", .wanted = "other"},
       })) {
    HostSnapshot snapshot;
    snapshot.config.configStatus = ConfigStatus::OK;
    snapshot.config.outbounds = {makeOutbound("proxy", std::string(row.type), "192.0.2.1")};
    EXPECT_EQ(anonymizedOf(snapshot).config.outbounds.front().type, row.wanted);
  }
  for (const TypeRow& row : std::to_array<TypeRow>({
           {.type = "ws", .wanted = "ws"},
           {.type = "grpc", .wanted = "grpc"},
           {.type = "http", .wanted = "http"},
           {.type = "quic", .wanted = "quic"},
           {.type = "", .wanted = ""},
           {.type = "vpn.corp.example.net", .wanted = "other"},
           {.type = "vless", .wanted = "other"},
       })) {
    HostSnapshot snapshot;
    snapshot.config.configStatus = ConfigStatus::OK;
    Outbound outbound = makeOutbound("proxy", "trojan", "192.0.2.1");
    outbound.hasTransport = true;
    outbound.transportType = row.type;
    snapshot.config.outbounds = {outbound};
    EXPECT_EQ(anonymizedOf(snapshot).config.outbounds.front().transportType, row.wanted);
  }
}

TEST(Anonymize, RanksTheIndexesOfAllLists) {
  HostSnapshot snapshot;
  snapshot.adapters.rows.resize(2);
  snapshot.adapters.rows[0].interfaceIndex = 500;
  snapshot.adapters.rows[1].interfaceIndex = 0;
  snapshot.routes.rows = {{.family = 4, .interfaceIndex = 300, .routeMetric = 0}};
  snapshot.sockets.rows.resize(3);
  snapshot.sockets.rows[0].boundInterfaceIndex = 400;
  snapshot.sockets.rows[0].routeInterfaceIndex = 500;
  snapshot.sockets.rows[1].boundInterfaceIndex = 0;  // none
  snapshot.sockets.rows[1].routeInterfaceIndex = 200;
  const HostSnapshot found = anonymizedOf(snapshot);
  EXPECT_EQ(found.adapters.rows[0].interfaceIndex, 5U);  // of 0, 200, 300, 400 and 500
  EXPECT_EQ(found.adapters.rows[1].interfaceIndex, 1U);
  EXPECT_EQ(found.routes.rows[0].interfaceIndex, 3U);
  EXPECT_EQ(found.sockets.rows[0].boundInterfaceIndex, 4U);
  EXPECT_EQ(found.sockets.rows[0].routeInterfaceIndex, 5U);
  EXPECT_EQ(found.sockets.rows[1].boundInterfaceIndex, 0U);
  EXPECT_EQ(found.sockets.rows[1].routeInterfaceIndex, 2U);
  EXPECT_EQ(found.sockets.rows[2].boundInterfaceIndex, std::nullopt);
  EXPECT_EQ(found.sockets.rows[2].routeInterfaceIndex, std::nullopt);
  EXPECT_EQ(found.adapters.rows[0].name, "");  // there was none
}

TEST(Anonymize, SpellingsOfOneAddressBecomeEqual) {
  HostSnapshot snapshot;
  snapshot.adapters.rows.emplace_back().addresses = {"[FD00:0::7]", "fd00::7%eth0", "fd00::8"};
  const std::vector<std::string> wanted = {"fd00::1", "fd00::1", "fd00::2"};
  EXPECT_EQ(anonymizedOf(snapshot).adapters.rows.front().addresses, wanted);
}

TEST(Anonymize, MoreAddressesThanOneRangeKeepTheReport) {
  HostSnapshot snapshot = selectedSnapshot();
  for (std::uint32_t i = 0; i < 1000; ++i) {
    const std::string host = std::to_string(i / 256) + "." + std::to_string(i % 256);
    snapshot.sockets.rows.push_back(makeSocket("10.0." + host, 1, "11.0." + host, 443));
  }
  const HostSnapshot found = anonymizedOf(snapshot);
  std::set<std::string> addresses;
  for (const Socket& socket : found.sockets.rows) {
    addresses.insert(socket.localAddress);
    addresses.insert(socket.remoteAddress);
  }
  // 2 + 1000 private, 2 + 1000 global ones, and two of IPv6.
  EXPECT_EQ(addresses.size(), 2006U);

  // The same with the endpoint's socket last.
  std::swap(snapshot.sockets.rows.front(), snapshot.sockets.rows.back());
  anonymizedOf(snapshot);
}

}  // namespace
}  // namespace egress::snapshot
