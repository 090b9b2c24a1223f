#include "egress_snapshot/anonymize.h"

#include <array>
#include <set>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "egress/core/diagnose_egress.h"
#include "egress_snapshot/diagnose_snapshot.h"
#include "egress_snapshot/snapshot_json.h"
#include "tests/egress_snapshot/detailed_snapshot.h"
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

// A record with a usable configuration.
HostSnapshot withOutbounds(std::vector<Outbound> outbounds,
                           std::vector<SelectorAnswer> answers = {}) {
  HostSnapshot snapshot;
  snapshot.config.configStatus = ConfigStatus::OK;
  snapshot.config.outbounds = std::move(outbounds);
  snapshot.selectorAnswers = std::move(answers);
  return snapshot;
}

TEST(Anonymize, ReplacesEqualValuesByEqualOnesInTheOrderOfTheirOccurrence) {
  HostSnapshot wanted = selectedSnapshot();
  wanted.origin = {};
  auto& outbounds = wanted.config.outbounds;
  outbounds[1].tag = "tag-1";
  outbounds[1].server = "192.0.2.1";
  outbounds.resize(2);  // the walk enters only these
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
  sockets[0].seenPackets[0].interfaceIndex = 3;
  wanted.missingFacts[0].reason = "";
  sockets[1].localAddress = "10.0.0.1";
  sockets[1].remoteAddress = "192.0.2.2";
  sockets[2].localAddress = "10.0.0.2";
  sockets[2].remoteAddress = "192.0.2.2";
  sockets[3].localAddress = "fd00::1";
  sockets[3].remoteAddress = "2001:db8::1";
  for (Socket& socket : sockets) socket.localPort = 0;
  EXPECT_EQ(anonymizedOf(selectedSnapshot()), wanted);
}

TEST(Anonymize, KeepsEverythingElse) {
  // The walk enters both outbounds, and uses the first answer.
  HostSnapshot given = fullSnapshot();
  given.mainTag = "proxy";
  given.config.outbounds[0].tag = "proxy";
  given.config.outbounds[0].detour = given.config.outbounds[1].tag;
  given.config.outbounds[1].type = "selector";
  given.selectorAnswers.resize(1);
  given.selectorAnswers[0].selectorTag = given.config.outbounds[1].tag;
  given.selectorAnswers[0].now = "e";

  HostSnapshot wanted = given;
  wanted.origin = {};
  wanted.blanked = {};
  wanted.queries = {};
  wanted.resolvedNames = {};  // of other servers
  wanted.listeningAt = "";
  wanted.config.outbounds[0].detour = "tag-1";
  wanted.config.outbounds[0].server = "2001:db8::1";
  wanted.config.outbounds[1].tag = "tag-1";
  wanted.selectorAnswers[0].selectorTag = "tag-1";
  wanted.selectorAnswers[0].now = "tag-2";
  wanted.selectorHint = "tag-3";
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
  wanted.sockets.rows[0].localPort = 0;
  wanted.sockets.rows[0].remoteAddress = "host-2.example";
  wanted.sockets.rows[0].user = std::nullopt;
  wanted.sockets.rows[0].routeInterfaceIndex = 2;
  wanted.sockets.rows[0].seenPackets[0].interfaceIndex = 3;
  wanted.sockets.rows[0].seenPackets[1].interfaceIndex = 1;
  wanted.missingFacts[0].reason = "";
  EXPECT_EQ(anonymizedOf(given), wanted);
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
       {"Tokyo", "Osaka", "Kyoto", "osaka",   "tokyo", "93.184", "10.20", "8.8.8.8",
        "fd12",  "1234",  "2a00",  "private", "probe", "2026",   "1.2.3", "Linux",
        "4711",  "alice", "1000",  "5000",    "eth",   "wlan",   "secret"}) {
    EXPECT_NE(before.find(secret), std::string::npos) << secret;
    EXPECT_EQ(text.find(secret), std::string::npos) << secret;
  }
}

TEST(Anonymize, NumbersNamesByTheirFirstOccurrence) {
  // From "proxy" through "b" and "a" back to "proxy".
  HostSnapshot snapshot =
      withOutbounds({makeOutbound("a", "", "x.net"), makeOutbound("b", "", "y.net"),
                     makeOutbound("proxy", "", "x.net")});
  auto& outbounds = snapshot.config.outbounds;
  outbounds[0].detour = "proxy";
  outbounds[1].detour = "a";
  outbounds[2].detour = "b";
  snapshot.selectorHint = "c";
  const HostSnapshot found = anonymizedOf(snapshot);
  const auto& replaced = found.config.outbounds;
  ASSERT_EQ(replaced.size(), 3U);
  EXPECT_EQ(replaced[0].tag, "tag-1");
  EXPECT_EQ(replaced[0].detour, "proxy");
  EXPECT_EQ(replaced[0].server, "host-1.example");
  EXPECT_EQ(replaced[1].tag, "tag-2");
  EXPECT_EQ(replaced[1].detour, "tag-1");
  EXPECT_EQ(replaced[1].server, "host-2.example");
  EXPECT_EQ(replaced[2].tag, "proxy");
  EXPECT_EQ(replaced[2].detour, "tag-2");
  EXPECT_EQ(replaced[2].server, "host-1.example");
  EXPECT_EQ(found.selectorHint, "tag-3");
}

// The ports of the outbounds and the choices of the answers that are left, to tell which these are.
std::vector<std::uint32_t> portsOf(const HostSnapshot& snapshot) {
  std::vector<std::uint32_t> ports;
  for (const Outbound& outbound : snapshot.config.outbounds) {
    ports.insert(ports.end(), outbound.ports.begin(), outbound.ports.end());
  }
  return ports;
}

std::vector<SelectorAnswerStatus> statusesOf(const HostSnapshot& snapshot) {
  std::vector<SelectorAnswerStatus> statuses;
  for (const SelectorAnswer& answer : snapshot.selectorAnswers) statuses.push_back(answer.status);
  return statuses;
}

// An outbound with this port, to tell it from others.
Outbound numberedOutbound(std::uint32_t port, std::string tag, std::string type,
                          std::string detour = "") {
  Outbound outbound = makeOutbound(std::move(tag), std::move(type), "192.0.2.1");
  outbound.ports = {port};
  outbound.detour = std::move(detour);
  return outbound;
}

TEST(Anonymize, DropsOutboundsThatTheWalkDoesNotEnter) {
  using Ports = std::vector<std::uint32_t>;
  // Nothing leads to 1, 5 and 7; the others with their tags stand before 4 and 8.
  const HostSnapshot snapshot = withOutbounds(
      {numberedOutbound(1, "unused", "vless"),
       numberedOutbound(2, "hop", "urltest", "of-a-selector"),
       numberedOutbound(3, "proxy", "vmess", "hop"), numberedOutbound(4, "proxy", "tuic"),
       numberedOutbound(5, "", "vless"), numberedOutbound(6, "leaf", "trojan"),
       numberedOutbound(7, "of-a-selector", "vless"), numberedOutbound(8, "leaf", "vless")},
      {{.selectorTag = "hop", .status = SelectorAnswerStatus::Ok, .now = "leaf"}});
  EXPECT_EQ(portsOf(anonymizedOf(snapshot)), (Ports{2, 3, 6}));

  HostSnapshot changed = snapshot;
  changed.selectorAnswers.front().now = "absent";
  EXPECT_EQ(portsOf(anonymizedOf(changed)), (Ports{2, 3}));
  changed.selectorAnswers.front().now = "proxy";  // a cycle
  EXPECT_EQ(portsOf(anonymizedOf(changed)), (Ports{2, 3}));
  changed.config.outbounds[2].tag = "";
  EXPECT_EQ(portsOf(anonymizedOf(changed)), (Ports{4}));
  changed.config.outbounds[3].tag = "Proxy";
  EXPECT_EQ(portsOf(anonymizedOf(changed)), Ports{});
}

TEST(Anonymize, DropsAnswersThatTheWalkDoesNotUse) {
  using enum SelectorAnswerStatus;
  using Statuses = std::vector<SelectorAnswerStatus>;
  const HostSnapshot snapshot =
      withOutbounds({makeOutbound("proxy", "selector", ""), makeOutbound("group", "urltest", ""),
                     makeOutbound("hop", "vless", ""), makeOutbound("other", "selector", "")},
                    {{.selectorTag = "other", .status = TransportFailed, .now = ""},
                     {.selectorTag = "hop", .status = TransportFailed, .now = ""},
                     {.selectorTag = "proxy", .status = Ok, .now = "group"},
                     {.selectorTag = "absent", .status = TransportFailed, .now = ""},
                     {.selectorTag = "proxy", .status = TransportFailed, .now = ""},
                     {.selectorTag = "group", .status = Ok, .now = "hop"},
                     {.selectorTag = "", .status = TransportFailed, .now = ""}});
  EXPECT_EQ(statusesOf(anonymizedOf(snapshot)), (Statuses{Ok, Ok}));

  // Also an answer without a choice is used.
  for (const SelectorAnswerStatus status : {TransportFailed, Malformed, NowMissing}) {
    HostSnapshot changed = snapshot;
    changed.selectorAnswers[2].status = status;
    EXPECT_EQ(statusesOf(anonymizedOf(changed)), Statuses{status});
  }
}

TEST(Anonymize, OfAWalkThatIsTooDeepTheEnteredOutboundsStay) {
  HostSnapshot snapshot = withOutbounds({numberedOutbound(0, "proxy", "vless", "1")});
  std::vector<std::uint32_t> wanted = {0};
  for (std::uint32_t i = 1; i < 12; ++i) {
    snapshot.config.outbounds.push_back(
        numberedOutbound(i, std::to_string(i), "vless", std::to_string(i + 1)));
    if (i <= 8) wanted.push_back(i);  // after eight steps, the walk ends
  }
  EXPECT_EQ(portsOf(anonymizedOf(snapshot)), wanted);
}

TEST(Anonymize, WithoutAUsableConfigurationNoOutboundAndNoAnswerIsLeft) {
  for (std::uint32_t i = 0; i < 7; ++i) {
    HostSnapshot snapshot = selectedSnapshot();
    snapshot.config.configStatus = static_cast<ConfigStatus>(i);  // the last two have no name
    const bool isUsable = snapshot.config.configStatus == ConfigStatus::OK;
    const HostSnapshot found = anonymizedOf(snapshot);
    EXPECT_EQ(found.config.outbounds.size(), isUsable ? 2U : 0U);
    EXPECT_EQ(found.selectorAnswers.size(), isUsable ? 1U : 0U);
    EXPECT_EQ(found.selectorHint, isUsable ? "tag-2" : "tag-1");
  }
}

TEST(Anonymize, OfManyOutboundsAndAnswersOnlyTheUsedStay) {
  HostSnapshot snapshot = selectedSnapshot();
  const HostSnapshot wanted = anonymizedOf(snapshot);
  for (std::uint32_t i = 0; i < 100'000; ++i) {
    const std::string tag = i % 2 == 0 ? "Tokyo" : std::to_string(i);
    snapshot.config.outbounds.push_back(numberedOutbound(i, tag, "selector"));
    snapshot.selectorAnswers.push_back(
        {.selectorTag = tag, .status = SelectorAnswerStatus::Ok, .now = std::to_string(i + 1)});
  }
  EXPECT_EQ(anonymizedOf(snapshot), wanted);
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
    const HostSnapshot snapshot =
        withOutbounds({makeOutbound("proxy", std::string(row.type), "192.0.2.1")});
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
    Outbound outbound = makeOutbound("proxy", "trojan", "192.0.2.1");
    outbound.hasTransport = true;
    outbound.transportType = row.type;
    EXPECT_EQ(anonymizedOf(withOutbounds({outbound})).config.outbounds.front().transportType,
              row.wanted);
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

TEST(Anonymize, TheAddressesOfTheServersThatAreLeftStay) {
  const HostSnapshot snapshot = namedSnapshot();
  const HostSnapshot found = anonymizedOf(snapshot);
  ASSERT_EQ(found.resolvedNames.size(), 4U);
  for (std::size_t i = 0; i < 4; ++i) {
    EXPECT_EQ(found.resolvedNames[i].name, found.config.outbounds.front().server);
    EXPECT_EQ(found.resolvedNames[i].name, "host-1.example");
  }
  EXPECT_EQ(found.resolvedNames[1].address, found.sockets.rows[1].remoteAddress);
  EXPECT_EQ(found.resolvedNames[2].address, found.sockets.rows[4].remoteAddress);
  EXPECT_EQ(found.resolvedNames[2].source, NameSource::SYSTEM);
}

TEST(Anonymize, TheMainTagIsReplaced) {
  HostSnapshot snapshot =
      withOutbounds({makeOutbound("main", "vless", "192.0.2.1"),
                     makeOutbound("proxy", "vless", "192.0.2.2"), makeOutbound("c", "vless", "")});
  snapshot.mainTag = "main";
  HostSnapshot found = anonymizedOf(snapshot);
  ASSERT_EQ(found.config.outbounds.size(), 1U);
  EXPECT_EQ(found.config.outbounds[0].tag, "tag-1");
  EXPECT_EQ(found.mainTag, "tag-1");
  snapshot.config.outbounds[0].detour = "proxy";
  found = anonymizedOf(snapshot);
  ASSERT_EQ(found.config.outbounds.size(), 2U);
  EXPECT_EQ(found.config.outbounds[1].tag, "proxy");
}

}  // namespace
}  // namespace egress::snapshot
