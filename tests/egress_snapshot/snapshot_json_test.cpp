#include "egress_snapshot/snapshot_json.h"

#include <array>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "tests/egress_snapshot/expect_refused.h"
#include "tests/egress_snapshot/full_snapshot.h"
#include "tests/support/exact_text.h"
#include "tests/support/joined.h"
#include "tests/support/snapshot_equality.h"

namespace egress::snapshot {
namespace {

using namespace std::string_view_literals;
using egress::test::ExactText;
using egress::test::forEveryCut;
using egress::test::joined;
using Json = nlohmann::ordered_json;

Result<HostSnapshot> readExactly(std::string_view text) {
  return snapshotFromJson(ExactText(text).view());
}

// The record of a text that is not refused.
HostSnapshot readBack(std::string_view text) {
  const Result<HostSnapshot> result = readExactly(text);
  if (const auto* const refusal = std::get_if<Refusal>(&result)) {
    ADD_FAILURE() << toString(*refusal);
    return {};
  }
  return std::get<HostSnapshot>(result);
}

// A snapshot's text with these members after the first two.
std::string withMembers(std::string_view members) {
  return joined({R"({"format": "egress-snapshot", "version": 1, )", members, "}"});
}

TEST(SnapshotToJson, WritesTheMembersInTheOrderOfTheFields) {
  HostSnapshot snapshot;
  snapshot.origin = {
      .time = "2026-11-22T04:23:00Z", .program = "p", .programVersion = "1", .system = "\xFF"};
  snapshot.config = {.configStatus = ConfigStatus::OK,
                     .autoDetectInterface = true,
                     .outbounds = {{.tag = "proxy",
                                    .type = "vless",
                                    .detour = "d",
                                    .hasServer = true,
                                    .server = "192.0.2.1",
                                    .portSpecified = true,
                                    .portMalformed = false,
                                    .portHopping = true,
                                    .ports = {443, 444},
                                    .hasTransport = true,
                                    .transportType = "ws"}}};
  snapshot.selectorAnswers = {
      {.selectorTag = "proxy", .status = SelectorAnswerStatus::NowMissing, .now = "n"}};
  snapshot.blanked = {.byteOrderMark = true, .comments = 5, .trailingCommas = 6};
  snapshot.mainTag = "m";
  snapshot.queries = {
      {.selectorTag = "proxy", .outcome = QueryOutcome::NO_NOW, .reason = "no text"}};
  snapshot.selectorHint = "h";
  snapshot.resolvedNames = {
      {.name = "vpn.example", .address = "192.0.2.1", .source = NameSource::SYSTEM}};
  snapshot.listeningAt = "127.0.0.1:9090";
  snapshot.processes = {{.id = 77, .user = 1000, .program = "/bin/p"}};
  snapshot.adapters = {.enumFailed = false,
                       .failureReason = "",
                       .rows = {{.name = "eth0",
                                 .interfaceIndex = 2,
                                 .operStatus = -1,
                                 .interfaceMetric = 3,
                                 .addresses = {"192.0.2.7"},
                                 .kind = InterfaceKind::LOOPBACK}}};
  snapshot.routes = {.enumFailed = true,
                     .failureReason = "why",
                     .rows = {{.family = 4, .interfaceIndex = 2, .routeMetric = 100}}};
  snapshot.sockets.rows = {{.protocol = SocketProtocol::UDP,
                            .state = SocketState::SYN_SENT,
                            .localAddress = "a",
                            .localPort = 1,
                            .remoteAddress = "b",
                            .remotePort = 2,
                            .boundInterfaceIndex = 0,
                            .mark = std::nullopt,
                            .user = 1000,
                            .routeInterfaceIndex = 2,
                            .seenPackets = {{.interfaceIndex = 3, .count = 4}}}};
  snapshot.observedSeconds = 30;
  snapshot.missingFacts = {{.fact = FactKind::ROUTE, .reason = "not asked"}};
  EXPECT_EQ(snapshotToJson(snapshot), R"({
  "format": "egress-snapshot",
  "version": 1,
  "origin": {
    "time": "2026-11-22T04:23:00Z",
    "program": "p",
    "programVersion": "1",
    "system": {
      "base64": "/w=="
    }
  },
  "config": {
    "configStatus": "OK",
    "autoDetectInterface": true,
    "outbounds": [
      {
        "tag": "proxy",
        "type": "vless",
        "detour": "d",
        "hasServer": true,
        "server": "192.0.2.1",
        "portSpecified": true,
        "portMalformed": false,
        "portHopping": true,
        "ports": [
          443,
          444
        ],
        "hasTransport": true,
        "transportType": "ws"
      }
    ]
  },
  "blanked": {
    "byteOrderMark": true,
    "comments": 5,
    "trailingCommas": 6
  },
  "mainTag": "m",
  "selectorAnswers": [
    {
      "selectorTag": "proxy",
      "status": "NowMissing",
      "now": "n"
    }
  ],
  "queries": [
    {
      "selectorTag": "proxy",
      "outcome": "NO_NOW",
      "reason": "no text"
    }
  ],
  "selectorHint": "h",
  "resolvedNames": [
    {
      "name": "vpn.example",
      "address": "192.0.2.1",
      "source": "SYSTEM"
    }
  ],
  "processes": [
    {
      "id": 77,
      "user": 1000,
      "program": "/bin/p"
    }
  ],
  "listeningAt": "127.0.0.1:9090",
  "adapters": {
    "enumFailed": false,
    "failureReason": "",
    "rows": [
      {
        "name": "eth0",
        "interfaceIndex": 2,
        "operStatus": -1,
        "interfaceMetric": 3,
        "addresses": [
          "192.0.2.7"
        ],
        "kind": "LOOPBACK"
      }
    ]
  },
  "routes": {
    "enumFailed": true,
    "failureReason": "why",
    "rows": [
      {
        "family": 4,
        "interfaceIndex": 2,
        "routeMetric": 100
      }
    ]
  },
  "sockets": {
    "enumFailed": false,
    "failureReason": "",
    "rows": [
      {
        "protocol": "UDP",
        "state": "SYN_SENT",
        "localAddress": "a",
        "localPort": 1,
        "remoteAddress": "b",
        "remotePort": 2,
        "boundInterfaceIndex": 0,
        "user": 1000,
        "routeInterfaceIndex": 2,
        "seenPackets": [
          {
            "interfaceIndex": 3,
            "count": 4
          }
        ]
      }
    ]
  },
  "observedSeconds": 30,
  "missingFacts": [
    {
      "fact": "ROUTE",
      "reason": "not asked"
    }
  ]
})");
}

TEST(SnapshotToJson, WritesAFreshRecordWithAllItsMembers) {
  EXPECT_EQ(snapshotToJson({}), R"({
  "format": "egress-snapshot",
  "version": 1,
  "origin": {
    "time": "",
    "program": "",
    "programVersion": "",
    "system": ""
  },
  "config": {
    "configStatus": "NO_CONFIG",
    "autoDetectInterface": false,
    "outbounds": []
  },
  "blanked": {
    "byteOrderMark": false,
    "comments": 0,
    "trailingCommas": 0
  },
  "mainTag": "",
  "selectorAnswers": [],
  "queries": [],
  "selectorHint": "",
  "resolvedNames": [],
  "processes": [],
  "listeningAt": "",
  "adapters": {
    "enumFailed": false,
    "failureReason": "",
    "rows": []
  },
  "routes": {
    "enumFailed": false,
    "failureReason": "",
    "rows": []
  },
  "sockets": {
    "enumFailed": false,
    "failureReason": "",
    "rows": []
  },
  "missingFacts": []
})");
}

std::vector<std::string> partsOf(const HostSnapshot& snapshot) {
  std::vector<std::string> parts;
  writeSnapshot(snapshot, [&parts](std::string_view part) { parts.emplace_back(part); });
  return parts;
}

TEST(WriteSnapshot, ThePartsAreTheTextInOrder) {
  for (const HostSnapshot& snapshot : {HostSnapshot{}, fullSnapshot()}) {
    std::string text;
    for (const std::string& part : partsOf(snapshot)) text += part;
    EXPECT_EQ(text, snapshotToJson(snapshot));
  }
}

TEST(WriteSnapshot, APartIsSmallOrOneLongText) {
  constexpr std::size_t kMaxPart = 4096;
  HostSnapshot snapshot = fullSnapshot();
  for (std::uint32_t i = 0; i < 1000; ++i) {
    snapshot.config.outbounds.push_back(snapshot.config.outbounds.front());
    snapshot.sockets.rows.push_back(snapshot.sockets.rows.front());
    snapshot.adapters.rows.front().addresses.emplace_back("192.0.2.1");
  }
  std::string text;
  for (const std::string& part : partsOf(snapshot)) {
    EXPECT_LE(part.size(), kMaxPart);
    text += part;
  }
  EXPECT_EQ(text, snapshotToJson(snapshot));

  snapshot.selectorHint = std::string(10'000, 'h');
  std::size_t longParts = 0;
  for (const std::string& part : partsOf(snapshot)) {
    if (part.size() <= kMaxPart) continue;
    ++longParts;
    EXPECT_EQ(part, '"' + snapshot.selectorHint + '"');
  }
  EXPECT_EQ(longParts, 1U);
}

TEST(SnapshotToJson, EscapesUtf8TextAndEncodesOtherBytes) {
  HostSnapshot snapshot;
  snapshot.selectorHint = "a\0\x1B\n\"\\\x7F\xC3\xA9\xF0\x9F\x98\x80"sv;
  EXPECT_NE(snapshotToJson(snapshot).find(
                "\"selectorHint\": \"a\\u0000\\u001b\\n\\\"\\\\\x7F\xC3\xA9\xF0\x9F\x98\x80\""),
            std::string::npos);
  snapshot.selectorHint = "\xC3\xA9\xFF\0"sv;  // C3A9FF 00
  EXPECT_NE(snapshotToJson(snapshot).find("\"selectorHint\": {\n    \"base64\": \"w6n/AA==\"\n  }"),
            std::string::npos);
}

TEST(SnapshotToJson, AValueOutsideItsEnumerationIsWrittenAsAWord) {
  HostSnapshot snapshot;
  snapshot.config.configStatus = static_cast<ConfigStatus>(99);
  snapshot.selectorAnswers.emplace_back().status = static_cast<SelectorAnswerStatus>(99);
  Socket& socket = snapshot.sockets.rows.emplace_back();
  socket.protocol = static_cast<SocketProtocol>(2);
  socket.state = static_cast<SocketState>(4294967295);
  snapshot.adapters.rows.emplace_back().kind = static_cast<InterfaceKind>(3);
  snapshot.missingFacts.emplace_back().fact = static_cast<FactKind>(4);
  snapshot.queries.emplace_back().outcome = static_cast<QueryOutcome>(12);
  snapshot.resolvedNames.emplace_back().source = static_cast<NameSource>(2);
  const HostSnapshot read = readBack(snapshotToJson(snapshot));
  EXPECT_EQ(read.config.configStatus, ConfigStatus::AUTO_DETECT_INVALID);
  EXPECT_EQ(read.selectorAnswers.front().status, SelectorAnswerStatus::Ok);
  EXPECT_EQ(read.sockets.rows.front().protocol, SocketProtocol::UDP);
  EXPECT_EQ(read.sockets.rows.front().state, SocketState::CLOSED);
  EXPECT_EQ(read.adapters.rows.front().kind, InterfaceKind::TUNNEL);
  EXPECT_EQ(read.missingFacts.front().fact, FactKind::ADDRESS);
  EXPECT_EQ(read.queries.front().outcome, QueryOutcome::FAILED);
  EXPECT_EQ(read.resolvedNames.front().source, NameSource::SYSTEM);
}

TEST(SnapshotJson, ARecordComesBackEqual) {
  EXPECT_EQ(readBack(snapshotToJson(fullSnapshot())), fullSnapshot());
  EXPECT_EQ(readBack(snapshotToJson({})), HostSnapshot{});
}

TEST(SnapshotJson, EveryFieldComesBackOnItsOwn) {
  // With one member only, so that no field is read from the member of another.
  const Json full = Json::parse(snapshotToJson(fullSnapshot()));
  const Json fresh = Json::parse(snapshotToJson({}));
  for (const auto& [key, value] : full.items()) {
    if (key == "format" || key == "version") continue;
    Json one = {{"format", "egress-snapshot"}, {"version", 1}};
    one[key] = value;
    Json wanted = Json::object();
    for (const auto& [member, given] : full.items()) {
      if (member == key) wanted[member] = given;
      if (member != key && fresh.contains(member)) wanted[member] = fresh[member];
    }
    EXPECT_EQ(Json::parse(snapshotToJson(readBack(one.dump()))), wanted) << key;
  }
}

TEST(SnapshotJson, EveryWordComesBack) {
  HostSnapshot snapshot;
  snapshot.adapters.rows.emplace_back();  // of an unknown kind
  for (const std::uint32_t i : {0U, 1U, 2U}) {
    snapshot.adapters.rows.emplace_back().kind = static_cast<InterfaceKind>(i);
  }
  for (const std::uint32_t i : {0U, 1U, 2U, 3U}) {
    snapshot.missingFacts.emplace_back().fact = static_cast<FactKind>(i);
  }
  for (std::uint32_t i = 0; i < kQueryOutcomeWords.size(); ++i) {
    snapshot.queries.emplace_back().outcome = static_cast<QueryOutcome>(i);
  }
  for (const std::uint32_t i : {0U, 1U}) {
    snapshot.resolvedNames.emplace_back().source = static_cast<NameSource>(i);
    snapshot.sockets.rows.emplace_back().protocol = static_cast<SocketProtocol>(i);
  }
  for (std::uint32_t i = 0; i < kSocketStateWords.size(); ++i) {
    snapshot.sockets.rows.emplace_back().state = static_cast<SocketState>(i);
  }
  for (const std::int32_t i : {0, 1, 2, 3}) {
    snapshot.selectorAnswers.emplace_back().status = static_cast<SelectorAnswerStatus>(i);
  }
  EXPECT_EQ(readBack(snapshotToJson(snapshot)), snapshot);
  for (const std::uint32_t i : {0U, 1U, 2U, 3U, 4U}) {
    snapshot.config.configStatus = static_cast<ConfigStatus>(i);
    EXPECT_EQ(readBack(snapshotToJson(snapshot)), snapshot);
  }
}

TEST(SnapshotFromJson, MembersThatAreLeftOutHaveDefaults) {
  EXPECT_EQ(readBack(R"({"format": "egress-snapshot", "version": 1})"), HostSnapshot{});
  HostSnapshot wanted;
  wanted.config.outbounds.resize(1);
  wanted.selectorAnswers.resize(1);
  wanted.queries.resize(1);
  wanted.resolvedNames.resize(1);
  wanted.processes.resize(1);
  wanted.adapters.rows.resize(2);
  wanted.routes.rows.resize(1);
  wanted.sockets.rows.resize(1);
  wanted.sockets.rows.front().seenPackets.resize(1);
  wanted.missingFacts.resize(1);
  EXPECT_EQ(readBack(withMembers(
                R"("blanked": {}, "queries": [{}], "resolvedNames": [{}],)"
                R"("origin": {}, "config": {"outbounds": [{}]}, "selectorAnswers": [{}],)"
                R"("processes": [{}], "adapters": {"rows": [{}, {}]}, "routes": {"rows": [{}]},)"
                R"("sockets": {"rows": [{"seenPackets": [{}]}]}, "missingFacts": [{}])")),
            wanted);
}

TEST(SnapshotFromJson, UnknownMembersAreIgnored) {
  Json object = Json::parse(snapshotToJson(fullSnapshot()));
  object["adapters"]["rows"][0]["addresses"][1]["unknown"] = 1;  // beside "base64"
  EXPECT_EQ(readBack(object.dump()), fullSnapshot());
  object = Json::parse(snapshotToJson(fullSnapshot()));
  for (const std::string_view place :
       {"", "/origin", "/config", "/config/outbounds/0", "/config/outbounds/1",
        "/selectorAnswers/0", "/blanked", "/queries/0", "/resolvedNames/0", "/processes/0",
        "/adapters", "/adapters/rows/0", "/routes", "/routes/rows/0", "/sockets",
        "/sockets/rows/0"}) {
    Json& record = object.at(Json::json_pointer(std::string(place)));
    record["base64"] = "not base64";
    record["unknown"] = Json::array({nullptr, {{"time", 5}}});
    record[""] = 1e300;
  }
  EXPECT_EQ(readBack(object.dump()), fullSnapshot());
}

TEST(SnapshotFromJson, TheOrderOfMembersDoesNotMatter) {
  EXPECT_EQ(
      readBack(R"({"selectorHint": "h", "routes": {"rows": [{"routeMetric": 3, "family": 4}]},)"
               R"("version": 1, "format": "egress-snapshot"})"),
      readBack(withMembers(
          R"("routes": {"rows": [{"family": 4, "routeMetric": 3}]}, "selectorHint": "h")")));
}

TEST(SnapshotFromJson, OfARepeatedMemberTheLastIsRead) {
  EXPECT_EQ(readBack(withMembers(R"("selectorHint": "a", "selectorHint": "b")")).selectorHint, "b");
  const HostSnapshot read = readBack(
      withMembers(R"("origin": {"time": "t", "program": "p"}, "origin": {"program": "q"})"));
  EXPECT_EQ(read.origin.time, "");  // the objects are not merged
  EXPECT_EQ(read.origin.program, "q");
  EXPECT_EQ(readBack(R"({"format": 5, "version": 9, "format": "egress-snapshot", "version": 1})"),
            HostSnapshot{});
}

TEST(SnapshotFromJson, AcceptsOtherLineEndsAndAByteOrderMark) {
  const std::string text = snapshotToJson(fullSnapshot());
  std::string windows = "\xEF\xBB\xBF";
  for (const char byte : text) {
    if (byte == '\n') windows += '\r';
    windows += byte;
  }
  EXPECT_EQ(readBack(joined({windows, "\r\n"})), fullSnapshot());
}

TEST(SnapshotFromJson, ReadsEscapesAndBase64) {
  EXPECT_EQ(
      readBack(withMembers(R"("selectorHint": "\u0061\u00e9\ud83d\ude00\u0000\/")")).selectorHint,
      "a\xC3\xA9\xF0\x9F\x98\x80\0/"sv);
  EXPECT_EQ(readBack(withMembers(R"("selectorHint": {"base64": "/wBh"})")).selectorHint,
            "\xFF\0a"sv);
  EXPECT_EQ(readBack(withMembers(R"("selectorHint": {"base64": ""})")).selectorHint, "");
  // Also of text that is UTF-8.
  EXPECT_EQ(readBack(withMembers(R"("selectorHint": {"base64": "Zm9v"})")).selectorHint, "foo");
}

TEST(SnapshotFromJson, EveryCutIsRefused) {
  const std::string text = snapshotToJson(fullSnapshot());
  EXPECT_EQ(readBack(text), fullSnapshot());
  forEveryCut(text, [](std::string_view cut) {
    const Result<HostSnapshot> result = snapshotFromJson(cut);
    const auto* const refusal = std::get_if<Refusal>(&result);
    ASSERT_NE(refusal, nullptr) << cut;
    EXPECT_EQ(refusal->reason, cut.empty() ? "the text is empty"
                                           : "cut off after byte " + std::to_string(cut.size()));
  });
}

struct WholeTextRow {
  std::string_view text;
  std::string_view place;
  std::string_view reason;
};

constexpr std::string_view kMissing = "missing: this is not a saved snapshot";

constexpr auto kWholeTexts = std::to_array<WholeTextRow>({
    // The root is not an object.
    {.text = "null", .place = "/format", .reason = kMissing},
    {.text = "[]", .place = "/format", .reason = kMissing},
    {.text = "1", .place = "/format", .reason = kMissing},
    {.text = "\"format\"", .place = "/format", .reason = kMissing},
    // The format.
    {.text = "{}", .place = "/format", .reason = kMissing},
    {.text = R"({"version": 1})", .place = "/format", .reason = kMissing},
    {.text = R"({"Format": "egress-snapshot"})", .place = "/format", .reason = kMissing},
    {.text = R"({"format": null})",
     .place = "/format",
     .reason = R"(null is not "egress-snapshot")"},
    {.text = R"({"format": 1})", .place = "/format", .reason = R"(1 is not "egress-snapshot")"},
    {.text = R"({"format": "egress-report", "version": 1})",
     .place = "/format",
     .reason = R"("egress-report" is not "egress-snapshot")"},
    {.text = R"({"format": "egress-snapshot ", "version": 1})",
     .place = "/format",
     .reason = R"("egress-snapshot " is not "egress-snapshot")"},
    {.text = R"({"format": ["egress-snapshot"], "version": 1})",
     .place = "/format",
     .reason = R"(an array is not "egress-snapshot")"},
    {.text = R"({"format": {"base64": "ZWdyZXNzLXNuYXBzaG90"}, "version": 1})",
     .place = "/format",
     .reason = R"(an object is not "egress-snapshot")"},
    // The version.
    {.text = R"({"format": "egress-snapshot"})", .place = "/version", .reason = "missing"},
    {.text = R"({"format": "egress-snapshot", "version": 0})",
     .place = "/version",
     .reason = "0 is not a version"},
    {.text = R"({"format": "egress-snapshot", "version": -1})",
     .place = "/version",
     .reason = "-1 is not a version"},
    {.text = R"({"format": "egress-snapshot", "version": 0.5})",
     .place = "/version",
     .reason = "0.5 is not a version"},
    {.text = R"({"format": "egress-snapshot", "version": "1"})",
     .place = "/version",
     .reason = R"("1" is not a version)"},
    {.text = R"({"format": "egress-snapshot", "version": null})",
     .place = "/version",
     .reason = "null is not a version"},
    {.text = R"({"format": "egress-snapshot", "version": true})",
     .place = "/version",
     .reason = "true is not a version"},
    {.text = R"({"format": "egress-snapshot", "version": [1]})",
     .place = "/version",
     .reason = "an array is not a version"},
    {.text = R"({"format": "egress-snapshot", "version": 2})",
     .place = "/version",
     .reason = "written by a newer program: version 2, this one reads 1"},
    {.text = R"({"format": "egress-snapshot", "version": 1.5})",
     .place = "/version",
     .reason = "written by a newer program: version 1.5, this one reads 1"},
    {.text = R"({"format": "egress-snapshot", "version": 18446744073709551615})",
     .place = "/version",
     .reason = "written by a newer program: version 18446744073709551615, this one reads 1"},
    {.text = R"({"format": "egress-snapshot", "version": 100000000000000000000})",
     .place = "/version",
     .reason = "written by a newer program: version 1e+20, this one reads 1"},
    // The version comes before the members that it may have changed, the format before the version.
    {.text = R"({"format": "egress-snapshot", "version": 2, "config": 5})",
     .place = "/version",
     .reason = "written by a newer program: version 2, this one reads 1"},
    {.text = R"({"format": "other", "version": 2})",
     .place = "/format",
     .reason = R"("other" is not "egress-snapshot")"},
    // Not JSON.
    {.text = "egress-snapshot version=1\n",
     .place = "",
     .reason = "not JSON: line 1, byte 0 of the text: NO_VALUE"},
    {.text = "{\"format\": \"egress-snapshot\", \"version\": 1}\n{}",
     .place = "",
     .reason = "not JSON: line 2, byte 44 of the text: BYTES_AFTER_ROOT"},
});

TEST(SnapshotFromJson, RefusesOtherTexts) {
  for (const WholeTextRow& row : kWholeTexts) {
    SCOPED_TRACE(row.text);
    expectRefused(readExactly(row.text), row.place, row.reason);
  }
}

TEST(SnapshotFromJson, AcceptsTheVersionAsAnyNumberThatIs1) {
  EXPECT_EQ(readBack(R"({"format": "egress-snapshot", "version": 1.0})"), HostSnapshot{});
}

struct MemberRow {
  std::string_view members;
  std::string_view place;
  std::string_view reason;
};

constexpr auto kMembers = std::to_array<MemberRow>({
    // Records.
    {.members = R"("origin": null)", .place = "/origin", .reason = "null is not an object"},
    {.members = R"("config": "x")", .place = "/config", .reason = R"("x" is not an object)"},
    {.members = R"("adapters": [])", .place = "/adapters", .reason = "an array is not an object"},
    {.members = R"("routes": 0)", .place = "/routes", .reason = "0 is not an object"},
    {.members = R"("sockets": true)", .place = "/sockets", .reason = "true is not an object"},
    {.members = R"("selectorAnswers": [{}, 5])",
     .place = "/selectorAnswers/1",
     .reason = "5 is not an object"},
    {.members = R"("processes": ["x"])",
     .place = "/processes/0",
     .reason = R"("x" is not an object)"},
    {.members = R"("config": {"outbounds": [[]]})",
     .place = "/config/outbounds/0",
     .reason = "an array is not an object"},
    {.members = R"("adapters": {"rows": [{}, {}, null]})",
     .place = "/adapters/rows/2",
     .reason = "null is not an object"},
    // Arrays.
    {.members = R"("selectorAnswers": {})",
     .place = "/selectorAnswers",
     .reason = "an object is not an array"},
    {.members = R"("processes": {"id": 7})",
     .place = "/processes",
     .reason = "an object is not an array"},
    {.members = R"("routes": {"rows": null})",
     .place = "/routes/rows",
     .reason = "null is not an array"},
    {.members = R"("adapters": {"rows": [{"addresses": "192.0.2.1"}]})",
     .place = "/adapters/rows/0/addresses",
     .reason = R"("192.0.2.1" is not an array)"},
    {.members = R"("config": {"outbounds": [{"ports": 443}]})",
     .place = "/config/outbounds/0/ports",
     .reason = "443 is not an array"},
    // Texts.
    {.members = R"("selectorHint": null)",
     .place = "/selectorHint",
     .reason = "null is not a text"},
    {.members = R"("selectorHint": 5)", .place = "/selectorHint", .reason = "5 is not a text"},
    {.members = R"("selectorHint": true)",
     .place = "/selectorHint",
     .reason = "true is not a text"},
    {.members = R"("selectorHint": ["a"])",
     .place = "/selectorHint",
     .reason = "an array is not a text"},
    {.members = R"("selectorHint": {"Base64": ""})",
     .place = "/selectorHint",
     .reason = "an object is not a text"},
    {.members = R"("adapters": {"rows": [{}, {"addresses": ["a", "b", 1]}]})",
     .place = "/adapters/rows/1/addresses/2",
     .reason = "1 is not a text"},
    // Base64.
    {.members = R"("selectorHint": {"base64": null})",
     .place = "/selectorHint/base64",
     .reason = "null is not base64"},
    {.members = R"("selectorHint": {"base64": 1234})",
     .place = "/selectorHint/base64",
     .reason = "1234 is not base64"},
    {.members = R"("selectorHint": {"base64": ["Zg=="]})",
     .place = "/selectorHint/base64",
     .reason = "an array is not base64"},
    {.members = R"("selectorHint": {"base64": "Zg"})",
     .place = "/selectorHint/base64",
     .reason = R"("Zg" is not base64)"},
    {.members = R"("selectorHint": {"base64": "Zh=="})",
     .place = "/selectorHint/base64",
     .reason = R"("Zh==" is not base64)"},
    {.members = R"("selectorHint": {"base64": "Zm-_"})",
     .place = "/selectorHint/base64",
     .reason = R"("Zm-_" is not base64)"},
    {.members = R"("adapters": {"rows": [{"addresses": [{"base64": "?"}]}]})",
     .place = "/adapters/rows/0/addresses/0/base64",
     .reason = R"("?" is not base64)"},
    // Booleans.
    {.members = R"("config": {"autoDetectInterface": "true"})",
     .place = "/config/autoDetectInterface",
     .reason = R"("true" is not true or false)"},
    {.members = R"("sockets": {"enumFailed": 0})",
     .place = "/sockets/enumFailed",
     .reason = "0 is not true or false"},
    {.members = R"("config": {"outbounds": [{"hasServer": null}]})",
     .place = "/config/outbounds/0/hasServer",
     .reason = "null is not true or false"},
    // Signed numbers.
    {.members = R"("adapters": {"rows": [{"operStatus": 2147483648}]})",
     .place = "/adapters/rows/0/operStatus",
     .reason = "2147483648 does not fit"},
    {.members = R"("adapters": {"rows": [{"operStatus": -2147483649}]})",
     .place = "/adapters/rows/0/operStatus",
     .reason = "-2147483649 does not fit"},
    {.members = R"("routes": {"rows": [{"family": 18446744073709551615}]})",
     .place = "/routes/rows/0/family",
     .reason = "18446744073709551615 does not fit"},
    // Unsigned numbers.
    {.members = R"("routes": {"rows": [{"routeMetric": -1}]})",
     .place = "/routes/rows/0/routeMetric",
     .reason = "-1 does not fit"},
    {.members = R"("routes": {"rows": [{"routeMetric": 4294967296}]})",
     .place = "/routes/rows/0/routeMetric",
     .reason = "4294967296 does not fit"},
    {.members = R"("sockets": {"rows": [{"localPort": 70000000000}]})",
     .place = "/sockets/rows/0/localPort",
     .reason = "70000000000 does not fit"},
    {.members = R"("config": {"outbounds": [{}, {"ports": [1, 2, -1]}]})",
     .place = "/config/outbounds/1/ports/2",
     .reason = "-1 does not fit"},
    // Facts.
    {.members = R"("sockets": {"rows": [{"mark": null}]})",
     .place = "/sockets/rows/0/mark",
     .reason = "null is not a number"},
    {.members = R"("sockets": {"rows": [{"user": 4294967296}]})",
     .place = "/sockets/rows/0/user",
     .reason = "4294967296 does not fit"},
    {.members = R"("sockets": {"rows": [{"boundInterfaceIndex": "2"}]})",
     .place = "/sockets/rows/0/boundInterfaceIndex",
     .reason = R"("2" is not a number)"},
    {.members = R"("adapters": {"rows": [{"kind": null}]})",
     .place = "/adapters/rows/0/kind",
     .reason = "null is not a word that is known here"},
    {.members = R"("adapters": {"rows": [{"kind": "tunnel"}]})",
     .place = "/adapters/rows/0/kind",
     .reason = R"("tunnel" is not a word that is known here)"},
    {.members = R"("missingFacts": [{"fact": "TUNNEL"}])",
     .place = "/missingFacts/0/fact",
     .reason = R"("TUNNEL" is not a word that is known here)"},
    {.members = R"("missingFacts": {})",
     .place = "/missingFacts",
     .reason = "an object is not an array"},
    {.members = R"("observedSeconds": -1)",
     .place = "/observedSeconds",
     .reason = "-1 does not fit"},
    {.members = R"("sockets": {"rows": [{"seenPackets": [{}, {"count": 4294967296}]}]})",
     .place = "/sockets/rows/0/seenPackets/1/count",
     .reason = "4294967296 does not fit"},
    // Numbers of another form.
    {.members = R"("sockets": {"rows": [{"localPort": 1.0}]})",
     .place = "/sockets/rows/0/localPort",
     .reason = "1.0 is not an integer that fits"},
    {.members = R"("sockets": {"rows": [{"localPort": 0.5}]})",
     .place = "/sockets/rows/0/localPort",
     .reason = "0.5 is not an integer that fits"},
    {.members = R"("sockets": {"rows": [{"localPort": 1e2}]})",
     .place = "/sockets/rows/0/localPort",
     .reason = "100.0 is not an integer that fits"},
    {.members = R"("sockets": {"rows": [{"localPort": 100000000000000000000}]})",
     .place = "/sockets/rows/0/localPort",
     .reason = "1e+20 is not an integer that fits"},
    {.members = R"("sockets": {"rows": [{"localPort": "0x10"}]})",
     .place = "/sockets/rows/0/localPort",
     .reason = R"("0x10" is not a number)"},
    {.members = R"("sockets": {"rows": [{"localPort": true}]})",
     .place = "/sockets/rows/0/localPort",
     .reason = "true is not a number"},
    {.members = R"("sockets": {"rows": [{"localPort": 1e400}]})",
     .place = "/sockets/rows/0/localPort",
     .reason = "not strict JSON: invalid UTF-8, a control character or an unpaired surrogate in a "
               "string, or a number with a leading zero or out of range"},
    // Words.
    {.members = R"("config": {"configStatus": "FINE"})",
     .place = "/config/configStatus",
     .reason = R"("FINE" is not a word that is known here)"},
    {.members = R"("config": {"configStatus": "ok"})",
     .place = "/config/configStatus",
     .reason = R"("ok" is not a word that is known here)"},
    {.members = R"("config": {"configStatus": 0})",
     .place = "/config/configStatus",
     .reason = "0 is not a word that is known here"},
    {.members = R"("config": {"configStatus": null})",
     .place = "/config/configStatus",
     .reason = "null is not a word that is known here"},
    {.members = R"("selectorAnswers": [{"status": "OK"}])",
     .place = "/selectorAnswers/0/status",
     .reason = R"("OK" is not a word that is known here)"},
    {.members = R"("sockets": {"rows": [{"protocol": "tcp"}]})",
     .place = "/sockets/rows/0/protocol",
     .reason = R"("tcp" is not a word that is known here)"},
    {.members = R"("sockets": {"rows": [{"protocol": "LISTEN"}]})",
     .place = "/sockets/rows/0/protocol",
     .reason = R"("LISTEN" is not a word that is known here)"},
    {.members = R"("sockets": {"rows": [{"state": "LISTENING"}]})",
     .place = "/sockets/rows/0/state",
     .reason = R"("LISTENING" is not a word that is known here)"},
    {.members = R"("sockets": {"rows": [{"state": {"base64": "Q0xPU0VE"}}]})",
     .place = "/sockets/rows/0/state",
     .reason = "an object is not a word that is known here"},
    // Values are shortened and escaped.
    {.members = R"("config": {"configStatus": "0123456789012345678901234567890123456789"})",
     .place = "/config/configStatus",
     .reason = R"("0123456789012345678901234567890123456789" is not a word that is known here)"},
    {.members = R"("config": {"configStatus": "0123456789012345678901234567890123456789X"})",
     .place = "/config/configStatus",
     .reason = R"("0123456789012345678901234567890123456789"... is not a word that is known here)"},
    {.members = R"("config": {"configStatus": "\u001b[2J\u0007\u0000\n\u00e9\u007f"})",
     .place = "/config/configStatus",
     .reason = R"("\u001b[2J\u0007\u0000\n\u00e9\u007f" is not a word that is known here)"},
    // The first refusal counts, in the order of the fields.
    {.members = R"("sockets": 1, "routes": 2, "origin": {"system": 3, "time": 4})",
     .place = "/origin/time",
     .reason = "4 is not a text"},
    {.members = R"("sockets": 1, "routes": 2)", .place = "/routes", .reason = "2 is not an object"},
});

TEST(SnapshotFromJson, RefusesWhatAFieldCannotHold) {
  for (const MemberRow& row : kMembers) {
    SCOPED_TRACE(row.members);
    expectRefused(readExactly(withMembers(row.members)), row.place, row.reason);
  }
}

TEST(SnapshotFromJson, AcceptsTheFirstAndLastNumberOfEachType) {
  const HostSnapshot read = readBack(
      withMembers(R"("adapters": {"rows": [{"operStatus": -2147483648, "interfaceIndex": 0},)"
                  R"({"operStatus": 2147483647, "interfaceIndex": 4294967295}]},)"
                  R"("sockets": {"rows": [{"mark": 0}, {"mark": 4294967295}, {}]})"));
  EXPECT_EQ(read.adapters.rows[0].operStatus, -2147483647 - 1);
  EXPECT_EQ(read.adapters.rows[0].interfaceIndex, 0U);
  EXPECT_EQ(read.adapters.rows[1].operStatus, 2147483647);
  EXPECT_EQ(read.adapters.rows[1].interfaceIndex, 4294967295U);
  EXPECT_EQ(read.sockets.rows[0].mark, 0U);
  EXPECT_EQ(read.sockets.rows[1].mark, 4294967295U);
  EXPECT_EQ(read.sockets.rows[2].mark, std::nullopt);
}

TEST(SnapshotFromJson, DeepNestingInAnUnknownMemberIsReadUpToTheLimitOfTheCore) {
  const auto nested = [](std::size_t depth) {
    return withMembers(joined({R"("x": )", std::string(depth, '['), std::string(depth, ']')}));
  };
  EXPECT_EQ(readBack(nested(64)), HostSnapshot{});
  std::string place = "/x";
  for (int i = 0; i < 64; ++i) place += "/0";
  const std::size_t firstBracket = std::string_view(withMembers(R"("x": )")).find('}');
  const std::string reason = joined(
      {"not JSON: line 1, byte ", std::to_string(firstBracket + 64), " of the text: TOO_DEEP"});
  for (const std::size_t depth : {65U, 100'000U}) {
    expectRefused(readExactly(nested(depth)), place, reason);
  }
}

TEST(SnapshotFromJson, BinaryDataIsRefusedInOneLine) {
  std::string everyByte;
  for (int byte = 0; byte < 256; ++byte) everyByte += static_cast<char>(byte);
  const std::string start = R"({"format": "egress-snapshot", "version": 1, "x": ")";
  for (const std::string& text : {everyByte, std::string(1000, '\0'), std::string(20, '\xFF'),
                                  start + everyByte, start + everyByte + "\"}"}) {
    const Result<HostSnapshot> result = readExactly(text);
    const auto* const refusal = std::get_if<Refusal>(&result);
    ASSERT_NE(refusal, nullptr);
    EXPECT_EQ(toString(*refusal).find('\n'), std::string::npos);
  }
}

}  // namespace
}  // namespace egress::snapshot
