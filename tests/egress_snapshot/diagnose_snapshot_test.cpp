#include "egress_snapshot/diagnose_snapshot.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "egress/core/diagnose_egress.h"
#include "tests/egress_snapshot/full_snapshot.h"
#include "tests/egress_snapshot/selected_snapshot.h"
#include "tests/support/snapshot_equality.h"

namespace egress::snapshot {
namespace {

TEST(ToInput, CopiesEveryFieldOfTheInput) {
  HostSnapshot snapshot = fullSnapshot();
  snapshot.sockets.rows.front().state = SocketState::CLOSE_WAIT;  // so that it counts
  snapshot.mainTag = kStartTag;
  const DiagnosisInput input = toInput(snapshot, CountedSockets::TCP_AND_UDP);
  const auto& [configStatus, autoDetectInterface, outbounds, adapters, routes, sockets,
               selectorAnswers, selectorHint] = input;

  EXPECT_EQ(configStatus, ConfigStatus::OK);
  EXPECT_TRUE(autoDetectInterface);
  EXPECT_EQ(outbounds, snapshot.config.outbounds);
  EXPECT_EQ(selectorAnswers, snapshot.selectorAnswers);
  EXPECT_EQ(selectorHint, snapshot.selectorHint);

  const std::vector<std::string>& addresses = snapshot.adapters.rows[0].addresses;
  const AdapterSnapshot wantedAdapters = {.enumFailed = true,
                                          .rows = {{.interfaceIndex = 4294967295,
                                                    .operStatus = -2147483647 - 1,
                                                    .interfaceMetric = 4294967295,
                                                    .addresses = addresses},
                                                   {}}};
  EXPECT_EQ(adapters, wantedAdapters);
  const RouteSnapshot wantedRoutes = {
      .enumFailed = true,
      .rows = {{.family = 2147483647, .interfaceIndex = 7, .routeMetric = 9}, {}}};
  EXPECT_EQ(routes, wantedRoutes);
  const SocketSnapshot wantedSockets = {.enumFailed = true,
                                        .rows = {{.localAddress = "10.1.2.3",
                                                  .localPort = 4294967295,
                                                  .remoteAddress = "no address",
                                                  .remotePort = 443},
                                                 {}}};
  EXPECT_EQ(sockets, wantedSockets);
}

TEST(ToInput, AFreshRecordIsAFreshInput) {
  const DiagnosisInput input = toInput(HostSnapshot{});
  EXPECT_EQ(input.configStatus, ConfigStatus::NO_CONFIG);
  EXPECT_FALSE(input.autoDetectInterface);
  EXPECT_TRUE(input.outbounds.empty());
  EXPECT_EQ(input.adapters, AdapterSnapshot{});
  EXPECT_EQ(input.routes, RouteSnapshot{});
  EXPECT_EQ(input.sockets, SocketSnapshot{});
  EXPECT_TRUE(input.selectorAnswers.empty());
  EXPECT_EQ(input.selectorHint, "");
}

TEST(ToInput, EachListFailsOnItsOwn) {
  HostSnapshot snapshot;
  snapshot.routes.enumFailed = true;
  const DiagnosisInput input = toInput(snapshot);
  EXPECT_FALSE(input.adapters.enumFailed);
  EXPECT_TRUE(input.routes.enumFailed);
  EXPECT_FALSE(input.sockets.enumFailed);
}

TEST(ToInput, HasTheSocketsThatCountInTheirOrder) {
  HostSnapshot snapshot;
  for (std::uint32_t port = 0; port < 6; ++port) {
    Socket& socket = snapshot.sockets.rows.emplace_back();
    socket.localPort = port;
    if (port % 2 == 1) socket.protocol = SocketProtocol::UDP;
    if (port == 2) socket.state = SocketState::SYN_SENT;
  }
  const auto portsOf = [](const DiagnosisInput& input) {
    std::vector<std::uint32_t> ports;
    for (const SocketSource& row : input.sockets.rows) ports.push_back(row.localPort);
    return ports;
  };
  using Ports = std::vector<std::uint32_t>;
  EXPECT_EQ(portsOf(toInput(snapshot)), (Ports{0, 4}));
  EXPECT_EQ(portsOf(toInput(snapshot, CountedSockets::TCP)), (Ports{0, 4}));
  EXPECT_EQ(portsOf(toInput(snapshot, CountedSockets::TCP_AND_UDP)), (Ports{0, 1, 3, 4, 5}));
}

// From "main" through the selector "choice" to "leaf"; "proxy" is another leaf.
HostSnapshot withMainTag() {
  HostSnapshot snapshot;
  snapshot.config.configStatus = ConfigStatus::OK;
  snapshot.config.autoDetectInterface = true;
  snapshot.config.outbounds = {
      makeOutbound("proxy", "vless", "192.0.2.1"), makeOutbound("leaf", "trojan", "198.51.100.10"),
      makeOutbound("choice", "selector", ""), makeOutbound("main", "vmess", "192.0.2.2")};
  snapshot.config.outbounds.back().detour = "choice";
  snapshot.selectorAnswers = {
      {.selectorTag = "choice", .status = SelectorAnswerStatus::Ok, .now = "leaf"}};
  snapshot.mainTag = "main";
  return snapshot;
}

using Tags = std::vector<std::string>;

TEST(Diagnose, TheWalkStartsAtTheMainTagAndHasTheTagsOfTheRecord) {
  const Diagnosis diagnosis = diagnose(withMainTag());
  EXPECT_EQ(diagnosis.resolution.visitedTags, (Tags{"main", "choice", "leaf"}));
  EXPECT_EQ(diagnosis.resolution.leaf, 1U);
  EXPECT_EQ(diagnosis.resolution.soughtTag, "");
  EXPECT_EQ(diagnosis.endpoint.status, ActiveEndpointStatus::OK);
  EXPECT_FALSE(diagnosis.selectorHintStale);
}

TEST(Diagnose, WithoutAMainTagTheWalkStartsAtProxy) {
  HostSnapshot snapshot = withMainTag();
  for (const char* const tag : {"", "proxy"}) {
    snapshot.mainTag = tag;
    EXPECT_EQ(diagnose(snapshot).resolution.visitedTags, Tags{"proxy"});
  }
}

TEST(Diagnose, AMainTagMayLeadToProxyAndBeTheHint) {
  HostSnapshot snapshot = withMainTag();
  snapshot.selectorAnswers.front().now = "proxy";
  for (const char* const hint : {"main", "choice", "proxy"}) {
    snapshot.selectorHint = hint;
    const Diagnosis diagnosis = diagnose(snapshot);
    EXPECT_EQ(diagnosis.resolution.visitedTags, (Tags{"main", "choice", "proxy"}));
    EXPECT_EQ(diagnosis.resolution.leaf, 0U);
    EXPECT_FALSE(diagnosis.selectorHintStale) << hint;
  }
  snapshot.selectorHint = "leaf";
  EXPECT_TRUE(diagnose(snapshot).selectorHintStale);
}

TEST(Diagnose, TheHintIsATagOfTheRecord) {
  HostSnapshot snapshot = withMainTag();
  snapshot.selectorHint = "main";
  EXPECT_FALSE(diagnose(snapshot).selectorHintStale);
  snapshot.selectorHint = "proxy";
  EXPECT_TRUE(diagnose(snapshot).selectorHintStale);
}

TEST(Diagnose, AMainTagMayBeASelector) {
  HostSnapshot snapshot = withMainTag();
  snapshot.mainTag = "choice";
  EXPECT_EQ(diagnose(snapshot).resolution.visitedTags, (Tags{"choice", "leaf"}));
  snapshot.selectorAnswers.front().now = "choice";
  const Diagnosis diagnosis = diagnose(snapshot);
  EXPECT_EQ(diagnosis.resolution.status, ActiveEndpointStatus::SELECTOR_CYCLE);
  EXPECT_EQ(diagnosis.resolution.soughtTag, "choice");
}

TEST(Diagnose, AMainTagCostsNoFollow) {
  HostSnapshot snapshot;
  snapshot.config.configStatus = ConfigStatus::OK;
  for (int i = 0; i <= 8; ++i) {
    snapshot.config.outbounds.push_back(makeOutbound(std::to_string(i), "vless", "192.0.2.1"));
    if (i < 8) snapshot.config.outbounds.back().detour = std::to_string(i + 1);
  }
  snapshot.mainTag = "0";
  EXPECT_EQ(diagnose(snapshot).resolution.status, ActiveEndpointStatus::OK);
  snapshot.config.outbounds.back().detour = "9";
  EXPECT_EQ(diagnose(snapshot).resolution.status, ActiveEndpointStatus::DETOUR_DEPTH_EXCEEDED);
}

TEST(Diagnose, AMainTagThatNoOutboundHasIsSought) {
  HostSnapshot snapshot = withMainTag();
  snapshot.mainTag = "absent";
  const Diagnosis diagnosis = diagnose(snapshot);
  EXPECT_EQ(diagnosis.resolution.status, ActiveEndpointStatus::OUTBOUND_NOT_FOUND);
  EXPECT_EQ(diagnosis.resolution.soughtTag, "absent");
  snapshot.mainTag = "main";
  snapshot.config.outbounds.front().tag = "other";
  snapshot.selectorAnswers.front().now = "proxy";  // no outbound has this tag now
  EXPECT_EQ(diagnose(snapshot).resolution.soughtTag, "proxy");
}

TEST(DiagnoseWay, NeedsNoRows) {
  const Diagnosis diagnosis = diagnoseWay(selectedSnapshot());
  EXPECT_EQ(diagnosis.endpoint.status, ActiveEndpointStatus::OK);
  EXPECT_EQ(diagnosis.resolution.visitedTags, diagnose(selectedSnapshot()).resolution.visitedTags);
  EXPECT_TRUE(diagnosis.interfaces.empty());
  EXPECT_EQ(diagnosis.selection.status, SelectionStatus::NO_MATCHING_SOCKET);
}

// The server of "proxy" has a name with three addresses, and both interfaces have one of theirs.
HostSnapshot withName() {
  HostSnapshot snapshot;
  snapshot.config.configStatus = ConfigStatus::OK;
  snapshot.config.autoDetectInterface = true;
  snapshot.config.outbounds = {makeOutbound("proxy", "vless", "vpn.example"),
                               makeOutbound("other", "vless", "other.example")};
  snapshot.resolvedNames = {
      {.name = "other.example", .address = "192.0.2.99", .source = NameSource::CALLER},
      {.name = "vpn.example", .address = "198.51.100.1", .source = NameSource::SYSTEM},
      {.name = "vpn.example", .address = "198.51.100.2", .source = NameSource::SYSTEM},
      {.name = "vpn.example", .address = "2001:db8::3", .source = NameSource::SYSTEM}};
  snapshot.adapters.rows.resize(2);
  snapshot.adapters.rows[0].interfaceIndex = 5;
  snapshot.adapters.rows[0].addresses = {"10.0.0.5"};
  snapshot.adapters.rows[1].interfaceIndex = 6;
  snapshot.adapters.rows[1].addresses = {"10.0.0.6", "fd00::6"};
  return snapshot;
}

TEST(DiagnoseWay, TakesTheFirstAddressOfAName) {
  HostSnapshot snapshot = withName();
  snapshot.sockets.rows = {makeSocket("10.0.0.5", 2, "198.51.100.2", 443)};
  EXPECT_TRUE(sameNumericAddress(diagnoseWay(snapshot).endpoint.address,
                                 parseNumericAddress("198.51.100.1")));
}

struct AddressRow {
  const char* name;
  std::vector<Socket> sockets;
  std::vector<std::string> addresses;  // that are diagnosed
  bool agree;
};

Socket attemptTo(const char* address) {
  Socket socket = makeSocket("10.0.0.6", 5, address, 443);
  socket.state = SocketState::SYN_SENT;
  return socket;
}

std::vector<AddressRow> addressRows() {
  const Socket first = makeSocket("10.0.0.5", 1, "198.51.100.1", 443);
  const Socket second = makeSocket("10.0.0.5", 2, "198.51.100.2", 443);
  const Socket secondElsewhere = makeSocket("10.0.0.6", 3, "198.51.100.2", 443);
  const Socket third = makeSocket("fd00::6", 4, "[2001:db8:0::3]", 443);
  const Socket otherPort = makeSocket("10.0.0.6", 6, "198.51.100.2", 8443);
  const Socket stranger = makeSocket("10.0.0.6", 7, "192.0.2.99", 443);
  const Socket noAddress = makeSocket("10.0.0.6", 8, "nowhere", 443);
  return {
      {"no socket: the first", {}, {"198.51.100.1"}, true},
      {"one in use", {second}, {"198.51.100.2"}, true},
      {"in use by value", {third}, {"2001:db8::3"}, true},
      {"two in use, one interface", {second, first}, {"198.51.100.1", "198.51.100.2"}, true},
      {"two in use, two interfaces",
       {secondElsewhere, first},
       {"198.51.100.1", "198.51.100.2"},
       false},
      {"another port, another name and no address do not count",
       {otherPort, stranger, noAddress, third},
       {"2001:db8::3"},
       true},
      {"an attempt alone", {attemptTo("198.51.100.2")}, {"198.51.100.2"}, true},
      {"an attempt beside a connection",
       {attemptTo("198.51.100.1"), second},
       {"198.51.100.2"},
       true},
      {"two attempts",
       {attemptTo("2001:db8::3"), attemptTo("198.51.100.2")},
       {"198.51.100.2", "2001:db8::3"},
       true},
  };
}

TEST(DiagnoseAddresses, TheAddressesInUseCount) {
  for (const AddressRow& row : addressRows()) {
    SCOPED_TRACE(row.name);
    HostSnapshot snapshot = withName();
    snapshot.sockets.rows = row.sockets;
    std::vector<AddressFinding> findings = diagnoseAddresses(snapshot);
    crossCheckAddresses(snapshot, findings);
    std::vector<std::string> addresses;
    addresses.reserve(findings.size());
    for (const AddressFinding& finding : findings) addresses.push_back(finding.address);
    EXPECT_EQ(addresses, row.addresses);
    EXPECT_EQ(doAgree(findings), row.agree);
    EXPECT_EQ(toInput(snapshot).outbounds.front().server, row.addresses.front());
    EXPECT_EQ(toInput(snapshot).outbounds.back().server, "192.0.2.99");
    const DiagnosisInput input = toInput(snapshot);
    EXPECT_EQ(writeReport(findings.front().diagnosis), diagnoseEgress(input));
  }
}

TEST(DiagnoseAddresses, EachIsDiagnosedAndCheckedAsTheOnlyOne) {
  HostSnapshot snapshot = withName();
  for (const AddressRow& row : addressRows()) {
    SCOPED_TRACE(row.name);
    snapshot.sockets.rows = row.sockets;
    std::vector<AddressFinding> findings = diagnoseAddresses(snapshot, CountedSockets::TCP_AND_UDP);
    crossCheckAddresses(snapshot, findings, CountedSockets::TCP_AND_UDP);
    for (const AddressFinding& finding : findings) {
      HostSnapshot only = snapshot;
      only.resolvedNames.clear();
      only.config.outbounds.front().server = finding.address;
      const Diagnosis diagnosis = diagnose(only);
      EXPECT_EQ(writeReport(finding.diagnosis), writeReport(diagnosis));
      EXPECT_EQ(finding.crossCheck.status, crossCheck(only, diagnosis).status);
    }
  }
}

TEST(DiagnoseAddresses, AnOutboundWithoutAServerHasNoName) {
  HostSnapshot snapshot = withName();
  snapshot.config.outbounds.front().hasServer = false;
  EXPECT_EQ(toInput(snapshot).outbounds.front().server, "vpn.example");
}

TEST(DiagnoseAddresses, AFailedListOfSocketsUsesNone) {
  HostSnapshot snapshot = withName();
  snapshot.sockets.rows = {makeSocket("10.0.0.5", 2, "198.51.100.2", 443)};
  snapshot.sockets.enumFailed = true;
  EXPECT_EQ(diagnoseAddresses(snapshot).front().address, "198.51.100.1");
}

TEST(DiagnoseAddresses, UdpSocketsUseAnAddressIfTheyCount) {
  HostSnapshot snapshot = withName();
  snapshot.sockets.rows = {makeSocket("10.0.0.5", 2, "198.51.100.2", 443)};
  snapshot.sockets.rows.front().protocol = SocketProtocol::UDP;
  EXPECT_EQ(diagnoseAddresses(snapshot).front().address, "198.51.100.1");
  EXPECT_EQ(diagnoseAddresses(snapshot, CountedSockets::TCP_AND_UDP).front().address,
            "198.51.100.2");
}

TEST(DiagnoseAddresses, OneAddressTwiceIsDiagnosedOnce) {
  HostSnapshot snapshot = withName();
  snapshot.resolvedNames.push_back({.name = "vpn.example", .address = "[198.51.100.1]"});
  snapshot.sockets.rows = {makeSocket("10.0.0.5", 2, "198.51.100.1", 443)};
  EXPECT_EQ(diagnoseAddresses(snapshot).size(), 1U);
}

TEST(DiagnoseAddresses, WithoutASinglePortNoAddressIsInUse) {
  HostSnapshot snapshot = withName();
  snapshot.sockets.rows = {makeSocket("10.0.0.5", 2, "198.51.100.2", 443)};
  snapshot.config.outbounds.front().ports = {443, 443};
  const AddressFinding finding = diagnoseAddresses(snapshot).front();
  EXPECT_EQ(finding.diagnosis.endpoint.status, ActiveEndpointStatus::ENDPOINT_NOT_SINGLETON);
  EXPECT_EQ(finding.address, "");
  EXPECT_EQ(toInput(snapshot).outbounds.front().server, "198.51.100.1");
}

TEST(DiagnoseAddresses, AWalkWithoutALeafIsDiagnosedOnce) {
  HostSnapshot snapshot = withName();
  snapshot.config.outbounds.front().tag = "renamed";
  const std::vector<AddressFinding> findings = diagnoseAddresses(snapshot);
  ASSERT_EQ(findings.size(), 1U);
  EXPECT_EQ(findings.front().address, "");
}

TEST(DiagnoseAddresses, SixteenAddressesAreDiagnosed) {
  HostSnapshot snapshot = withName();
  snapshot.resolvedNames.clear();
  for (int i = 1; i <= 20; ++i) {
    const std::string address = "203.0.113." + std::to_string(i);
    snapshot.resolvedNames.push_back({.name = "vpn.example", .address = address});
    snapshot.sockets.rows.push_back(makeSocket("10.0.0.5", 2, address, 443));
  }
  const std::vector<AddressFinding> findings = diagnoseAddresses(snapshot);
  ASSERT_EQ(findings.size(), 16U);
  EXPECT_EQ(findings.back().address, "203.0.113.16");
}

TEST(InterfaceNamedBy, TheDiagnosisCountsOnlyIfTheCrossCheckIsUnknown) {
  HostSnapshot snapshot = withName();
  AddressFinding finding = diagnoseAddresses(snapshot).front();
  EXPECT_EQ(interfaceNamedBy(finding), std::nullopt);
  snapshot.sockets.rows = {makeSocket("10.0.0.5", 2, "198.51.100.1", 443)};
  finding = diagnoseAddresses(snapshot).front();
  EXPECT_EQ(interfaceNamedBy(finding), 5U);
  finding.crossCheck.status = CrossCheckStatus::NO_WAY_OUT;
  EXPECT_EQ(interfaceNamedBy(finding), std::nullopt);
  finding.crossCheck.status = CrossCheckStatus::DISAGREES;
  finding.crossCheck.interfaceIndex = 6;
  EXPECT_EQ(interfaceNamedBy(finding), 6U);
}

}  // namespace
}  // namespace egress::snapshot
