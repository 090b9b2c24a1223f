#include "egress_snapshot/details_json.h"

#include <array>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "egress/core/diagnose_egress.h"
#include "egress_snapshot/diagnose_snapshot.h"
#include "egress_snapshot/report_json.h"
#include "tests/egress_snapshot/detailed_snapshot.h"
#include "tests/egress_snapshot/full_snapshot.h"

namespace egress::snapshot {
namespace {

using Json = nlohmann::ordered_json;

std::vector<AddressFinding> findingsOf(const HostSnapshot& snapshot) {
  std::vector<AddressFinding> findings = diagnoseAddresses(snapshot);
  crossCheckAddresses(snapshot, findings);
  return findings;
}

std::string detailsOf(const HostSnapshot& snapshot) {
  return detailsToJson(snapshot, findingsOf(snapshot));
}

Json detailsJson(const HostSnapshot& snapshot) {
  return Json::parse(detailsOf(snapshot));
}

// Both interfaces of the detailed record.
Json first() {
  return Json::parse(R"({"ordinal": 1, "name": {"base64": "ZXRo/w=="}})");
}
Json second() {
  return Json::parse(R"({"ordinal": 2, "name": "wg0"})");
}

TEST(DetailsToJson, BeginsWithFormatVersionOriginAndInput) {
  const std::string text = detailsOf(detailedSnapshot());
  EXPECT_TRUE(text.starts_with(R"({
  "format": "egress-details",
  "version": 1,
  "origin": {
    "time": "2026-11-22T04:23:00Z",
    "program": "probe",
    "programVersion": "1.2.3",
    "system": "Linux"
  },
  "input": {
    "blanked": {
      "byteOrderMark": false,
      "comments": 0,
      "trailingCommas": 0
    },
    "mainTag": "",
    "queries": [],
    "resolvedNames": [],
    "listeningAt": ""
  },
  "report": {
    "configStatus": "OK",
)")) << text;
}

TEST(DetailsToJson, TheFileStandsAfterTheVersionAndChangesNothingElse) {
  const HostSnapshot snapshot = detailedSnapshot();
  const auto detailsIn = [&snapshot](const char* file) {
    return detailsToJson(snapshot, findingsOf(snapshot), JsonLayout::ONE_LINE, file);
  };
  const std::string named = detailsIn("a/b.json");
  const std::string opening =
      R"({"format":"egress-details","version":1,"file":"a/b.json","origin":{)";
  EXPECT_TRUE(named.starts_with(opening)) << named;
  Json rest = Json::parse(named);
  rest.erase("file");
  EXPECT_EQ(rest, detailsJson(snapshot));
  EXPECT_EQ(Json::parse(detailsIn(""))["file"], "");
  EXPECT_EQ(Json::parse(detailsIn("\xFF"))["file"], Json::parse(R"({"base64": "/w=="})"));
}

TEST(DetailsToJson, HasTheReport) {
  for (const HostSnapshot& snapshot : {HostSnapshot{}, detailedSnapshot(), fullSnapshot()}) {
    const std::string report = reportToJson(diagnoseEgress(toInput(snapshot)));
    EXPECT_EQ(detailsJson(snapshot)["report"], Json::parse(report));
  }
}

TEST(DetailsToJson, HasTheMembersOfTheRecordAsASnapshotHasThem) {
  for (const HostSnapshot& snapshot : {HostSnapshot{}, detailedSnapshot(), fullSnapshot()}) {
    const Json saved = Json::parse(snapshotToJson(snapshot));
    const Json details = detailsJson(snapshot);
    for (const char* const key : {"origin", "missingFacts", "processes"}) {
      EXPECT_EQ(details[key], saved[key]) << key;
    }
  }
}

TEST(DetailsToJson, TheInputHasItsMembersAsASnapshotHasThem) {
  for (const HostSnapshot& snapshot : {HostSnapshot{}, namedSnapshot(), fullSnapshot()}) {
    const Json saved = Json::parse(snapshotToJson(snapshot));
    const Json input = detailsJson(snapshot)["input"];
    for (const char* const key :
         {"blanked", "mainTag", "queries", "resolvedNames", "listeningAt"}) {
      EXPECT_EQ(input[key], saved[key]) << key;
    }
  }
}

TEST(DetailsToJson, TheWayHasTheOutboundsThatWereEnteredAndWhatLedOn) {
  EXPECT_EQ(detailsJson(detailedSnapshot())["way"], Json::parse(R"({"entered": [
      {"tag": "proxy", "type": "selector", "ledOnBy": "SELECTOR"},
      {"tag": "hop", "type": "trojan", "ledOnBy": "DETOUR"},
      {"tag": "exit", "type": "vless"}]})"));
}

TEST(DetailsToJson, TheWayHasTheTagThatAFailedWalkLookedFor) {
  HostSnapshot snapshot = detailedSnapshot();
  snapshot.config.outbounds.front().tag = "renamed";
  EXPECT_EQ(detailsJson(snapshot)["way"], Json::parse(R"({"entered": [
      {"tag": "proxy", "type": "selector", "ledOnBy": "SELECTOR"},
      {"tag": "hop", "type": "trojan"}], "soughtTag": "exit"})"));
  snapshot.config.outbounds.clear();
  EXPECT_EQ(detailsJson(snapshot)["way"], Json::parse(R"({"entered": [], "soughtTag": "proxy"})"));
}

TEST(DetailsToJson, OfOutboundsWithOneTagTheFirstWasEntered) {
  HostSnapshot snapshot = detailedSnapshot();
  snapshot.config.outbounds.push_back(makeOutbound("exit", "vmess", "192.0.2.1"));
  snapshot.config.outbounds[1].type = "urltest";  // leads on as a selector does
  const Json way = detailsJson(snapshot)["way"]["entered"];
  EXPECT_EQ(way[0], Json::parse(R"({"tag": "proxy", "type": "urltest", "ledOnBy": "SELECTOR"})"));
  EXPECT_EQ(way[2]["type"], "vless");
}

TEST(DetailsToJson, TheEndpointHasItsAddressAsConfigured) {
  EXPECT_EQ(detailsJson(detailedSnapshot())["endpoint"],
            Json::parse(R"({"status": "OK", "address": "[198.51.100.10]", "port": 443})"));
  HostSnapshot snapshot = detailedSnapshot();
  snapshot.config.outbounds.front().server = "name.example";
  EXPECT_EQ(detailsJson(snapshot)["endpoint"],
            Json::parse(R"({"status": "ENDPOINT_NOT_NUMERIC"})"));
}

TEST(DetailsToJson, AResolvedEndpointHasItsNameAndTheOtherAddressesInUse) {
  const Json details = detailsJson(namedSnapshot());
  EXPECT_EQ(details["endpoint"], Json::parse(R"({
      "status": "OK", "address": "198.51.100.10", "port": 443, "name": "vpn.example"})"));
  Json second = {{"address", "198.51.100.11"},
                 {"selectionStatus", "OK"},
                 {"crossCheckStatus", "UNKNOWN"},
                 {"interface", first()}};
  Json third = {{"address", "198.51.100.12"},
                {"selectionStatus", "SOCKET_SOURCE_ADDRESS_UNMAPPED"},
                {"crossCheckStatus", "UNKNOWN"}};
  EXPECT_EQ(details["otherAddresses"].dump(2), Json::array({second, third}).dump(2));
  EXPECT_EQ(details["doAddressesAgree"], false);
  ASSERT_EQ(details["sockets"].size(), 5U);
  EXPECT_EQ(details["sockets"][4]["remoteAddress"], "198.51.100.12");

  const Json one = detailsJson(detailedSnapshot());
  EXPECT_EQ(one["otherAddresses"], Json::array());
  EXPECT_EQ(one["doAddressesAgree"], true);
}

TEST(DetailsToJson, TheCrossCheckNamesItsInterface) {
  Json wanted = {{"status", "AGREES"}, {"interface", second()}, {"observedSeconds", 30}};
  EXPECT_EQ(detailsJson(detailedSnapshot())["crossCheck"], wanted);
  HostSnapshot snapshot = detailedSnapshot();
  snapshot.sockets.rows[1].routeInterfaceIndex = 0;
  snapshot.observedSeconds = std::nullopt;
  EXPECT_EQ(detailsJson(snapshot)["crossCheck"], Json({{"status", "DISAGREES"}}));
  EXPECT_EQ(detailsJson({})["crossCheck"], Json({{"status", "UNKNOWN"}}));
}

TEST(DetailsToJson, ASocketHasAllItsFacts) {
  const Json sockets = detailsJson(detailedSnapshot())["sockets"];
  ASSERT_EQ(sockets.size(), 3U);
  Json wanted = Json::parse(R"({
      "protocol": "TCP", "state": "ESTABLISHED", "localAddress": "10.0.0.2", "localPort": 50001,
      "remoteAddress": "198.51.100.10", "remotePort": 443, "user": 1000, "mark": 51820})");
  wanted["boundDevice"] = first();
  wanted["role"] = "COUNTED";
  wanted["bySource"] = Json::array({second()});
  wanted["byRoute"] = second();
  wanted["byPackets"] = Json::array(
      {{{"interface", first()}, {"count", 6}}, {{"interface", second()}, {"count", 4294967297}}});
  wanted["decidedBy"] = "PACKETS";
  wanted["leavesThrough"] = Json::array({second()});
  wanted["hasNoWayOut"] = false;
  EXPECT_EQ(sockets[0].dump(2), wanted.dump(2));
}

TEST(DetailsToJson, AFactThatNamesNoInterfaceIsNullAndAnUnknownOneIsAbsent) {
  const Json sockets = detailsJson(detailedSnapshot())["sockets"];
  ASSERT_EQ(sockets.size(), 3U);
  EXPECT_EQ(sockets[1], Json::parse(R"({
      "protocol": "UDP", "state": "ESTABLISHED", "localAddress": "192.0.2.99", "localPort": 50002,
      "remoteAddress": "198.51.100.10", "remotePort": 443, "boundDevice": null,
      "role": "NOT_COUNTED", "bySource": [], "byRoute": null, "byPackets": [],
      "decidedBy": "ROUTE", "leavesThrough": [], "hasNoWayOut": true})"));
  EXPECT_EQ(sockets[2], Json::parse(R"({
      "protocol": "TCP", "state": "SYN_SENT", "localAddress": "192.0.2.7", "localPort": 50003,
      "remoteAddress": "198.51.100.10", "remotePort": 443, "role": "TRYING",
      "bySource": [{"ordinal": 1, "name": {"base64": "ZXRo/w=="}}], "byPackets": [],
      "decidedBy": "NONE", "leavesThrough": [], "hasNoWayOut": false})"));
}

TEST(DetailsToJson, AFactThatNoAdapterHasIsShownAsAnUnknownOne) {
  HostSnapshot snapshot = detailedSnapshot();
  Socket& attempt = snapshot.sockets.rows[3];
  ASSERT_EQ(attempt.boundInterfaceIndex, 99U);
  ASSERT_EQ(attempt.routeInterfaceIndex, 99U);
  attempt.boundInterfaceIndex = std::nullopt;
  attempt.routeInterfaceIndex = std::nullopt;
  EXPECT_EQ(detailsOf(snapshot), detailsOf(detailedSnapshot()));
}

TEST(DetailsToJson, TheInterfacesAreTheRowsOfTheAdaptersByOrdinal) {
  EXPECT_EQ(detailsJson(detailedSnapshot())["interfaces"], Json::parse(R"([
      {"ordinal": 1, "name": {"base64": "ZXRo/w=="}, "kind": "OTHER", "operStatus": 1,
       "addresses": ["192.0.2.7", "2001:db8::7"]},
      {"ordinal": 2, "name": "wg0", "kind": "TUNNEL", "operStatus": 1, "addresses": ["10.0.0.2"]},
      {"ordinal": 2, "operStatus": 2, "addresses": []}])"));
}

TEST(DetailsToJson, AnInterfaceHasTheFirstNameOfItsRows) {
  HostSnapshot snapshot = detailedSnapshot();
  auto& rows = snapshot.adapters.rows;
  std::swap(rows[0], rows[2]);  // the row without a name comes first
  rows.push_back(rows[2]);
  rows.back().name = "later";
  EXPECT_EQ(detailsJson(snapshot)["crossCheck"]["interface"], second());
  for (Adapter& row : rows) row.name.clear();
  EXPECT_EQ(detailsJson(snapshot)["crossCheck"]["interface"], Json({{"ordinal", 2}}));
}

TEST(DetailsToJson, AnInterfaceWithIndexZeroIsShownOnlyIfItIsNamed) {
  HostSnapshot snapshot;
  snapshot.adapters.rows.resize(1);
  std::vector<AddressFinding> findings = diagnoseAddresses(snapshot);
  const auto shown = [&] { return Json::parse(detailsToJson(snapshot, findings))["crossCheck"]; };
  EXPECT_EQ(shown(), Json({{"status", "UNKNOWN"}}));
  findings.front().crossCheck.interfaceIndex = 0;
  EXPECT_EQ(shown(), Json({{"status", "UNKNOWN"}, {"interface", {{"ordinal", 1}}}}));
}

TEST(DetailsToJson, ListsThatFailedHaveTheirReasons) {
  EXPECT_EQ(detailsJson(detailedSnapshot())["failures"], Json::object());
  HostSnapshot snapshot = detailedSnapshot();
  snapshot.routes.enumFailed = true;
  snapshot.sockets.failureReason = "did not fail";
  EXPECT_EQ(detailsJson(snapshot)["failures"], Json::parse(R"({"routes": ""})"));
  snapshot.adapters.enumFailed = true;
  snapshot.adapters.failureReason = "EPERM";
  snapshot.sockets.enumFailed = true;
  snapshot.sockets.failureReason = "\xFF";
  const Json details = detailsJson(snapshot);
  EXPECT_EQ(details["failures"],
            Json::parse(R"({"adapters": "EPERM", "routes": "", "sockets": {"base64": "/w=="}})"));
  EXPECT_EQ(details["interfaces"], Json::array());
  EXPECT_EQ(details["sockets"], Json::array());
}

TEST(DetailsToJson, ContainsNoIndexOfTheSystem) {
  HostSnapshot snapshot = detailedSnapshot();
  constexpr std::uint32_t kSecret = 987654321;
  const auto replace = [](std::uint32_t& index) { index = index == 0 ? 0 : kSecret + index; };
  for (Adapter& row : snapshot.adapters.rows) replace(row.interfaceIndex);
  for (RouteRow& row : snapshot.routes.rows) replace(row.interfaceIndex);
  for (Socket& row : snapshot.sockets.rows) {
    if (row.boundInterfaceIndex) replace(*row.boundInterfaceIndex);
    if (row.routeInterfaceIndex) replace(*row.routeInterfaceIndex);
    for (SeenPackets& seen : row.seenPackets) replace(seen.interfaceIndex);
  }
  EXPECT_EQ(detailsOf(snapshot), detailsOf(detailedSnapshot()));
}

TEST(DetailsToJson, LeavesOutWhatTheRecordDoesNotHave) {
  const HostSnapshot snapshot = detailedSnapshot();
  std::vector<AddressFinding> findings = findingsOf(snapshot);
  CrossCheck& foreign = findings.front().crossCheck;
  foreign.interfaceIndex = 99;
  foreign.sockets[0].row = snapshot.sockets.rows.size();
  foreign.sockets[1].leavesThrough = {7, 99};
  const Json details = Json::parse(detailsToJson(snapshot, findings));
  EXPECT_FALSE(details["crossCheck"].contains("interface"));
  ASSERT_EQ(details["sockets"].size(), 2U);
  EXPECT_EQ(details["sockets"][0]["leavesThrough"], Json::array({first()}));

  // Findings without their record.
  const Json without = Json::parse(detailsToJson({}, findings));
  EXPECT_EQ(without["way"], Json::parse(R"({"entered": []})"));
  EXPECT_EQ(without["endpoint"],
            Json::parse(R"({"status": "OK", "address": "[198.51.100.10]", "port": 443})"));
  findings = findingsOf(namedSnapshot());
  findings[1].crossCheck.status = CrossCheckStatus::AGREES;
  findings[1].crossCheck.interfaceIndex = 99;
  const Json named = Json::parse(detailsToJson(namedSnapshot(), findings));
  EXPECT_FALSE(named["otherAddresses"][0].contains("interface"));
}

TEST(DetailsToJson, AValueOutsideItsEnumerationIsWrittenAsTheLastWord) {
  const HostSnapshot snapshot = detailedSnapshot();
  std::vector<AddressFinding> findings = findingsOf(snapshot);
  CrossCheck& check = findings.front().crossCheck;
  check.status = static_cast<CrossCheckStatus>(99);
  check.sockets[0].role = static_cast<SocketRole>(99);
  check.sockets[0].decidedBy = static_cast<Evidence>(99);
  const Json details = Json::parse(detailsToJson(snapshot, findings));
  EXPECT_EQ(details["crossCheck"]["status"], "UNKNOWN");
  EXPECT_EQ(details["sockets"][0]["role"], "NOT_COUNTED");
  EXPECT_EQ(details["sockets"][0]["decidedBy"], "PACKETS");
}

constexpr std::size_t kMaxPart = 4096;

TEST(WriteDetails, ThePartsAreTheTextInOrder) {
  HostSnapshot snapshot = detailedSnapshot();
  for (int i = 0; i < 100; ++i) snapshot.sockets.rows.push_back(snapshot.sockets.rows[1]);
  const std::vector<AddressFinding> findings = findingsOf(snapshot);
  std::string text;
  writeDetails(snapshot, findings, [&text](std::string_view part) {
    EXPECT_LE(part.size(), kMaxPart);
    text += part;
  });
  EXPECT_EQ(text, detailsToJson(snapshot, findings));
  EXPECT_EQ(Json::parse(text).dump(2), text);
}

}  // namespace
}  // namespace egress::snapshot
