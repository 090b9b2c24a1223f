#include "egress_snapshot/report_json.h"

#include <array>
#include <limits>
#include <set>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "egress/core/diagnose_egress.h"
#include "egress_snapshot/diagnose_snapshot.h"
#include "egress_snapshot/host_snapshot.h"
#include "tests/egress_snapshot/expect_refused.h"
#include "tests/egress_snapshot/full_snapshot.h"
#include "tests/support/exact_text.h"
#include "tests/support/report_builder.h"

namespace egress::snapshot {
namespace {

using egress::test::ExactText;
using egress::test::forEveryCut;
using egress::test::insertMember;
using Json = nlohmann::ordered_json;

constexpr std::string_view kReportText = R"({
  "configStatus": "OK",
  "autoDetectInterfaceEnabled": true,
  "egressSelectionPolicy": "singbox_auto_detect",
  "activeEndpointStatus": "OK",
  "selectorHintStale": false,
  "selectedInterfaceOrdinal": 1,
  "selectionStatus": "OK",
  "interfacesStatus": "OK",
  "interfaces": [
    {
      "ordinal": 1,
      "operStatus": -1,
      "interfaceMetric": 5
    },
    {
      "ordinal": 2,
      "operStatus": 2,
      "interfaceMetric": 4294967295
    }
  ],
  "defaultRoutesStatus": "SNAPSHOT_INCONSISTENT",
  "defaultRoutes": [
    {
      "family": 4,
      "interfaceOrdinal": 2,
      "interfaceOrdinalStatus": "OK",
      "routeMetric": 100
    },
    {
      "family": 6,
      "interfaceOrdinal": null,
      "interfaceOrdinalStatus": "ROUTE_INTERFACE_UNMAPPED",
      "routeMetric": 200
    }
  ],
  "socketSourcesStatus": "OK",
  "observedSocketSources": [
    {
      "interfaceOrdinal": 1
    }
  ]
})";

// The same report as a record.
EgressReport builtReport() {
  using Rows = std::vector<ReportRow>;
  EgressReport report;
  insertMember(report, "configStatus", stringScalar("OK"));
  insertMember(report, "autoDetectInterfaceEnabled", booleanScalar(true));
  insertMember(report, "egressSelectionPolicy", stringScalar("singbox_auto_detect"));
  insertMember(report, "activeEndpointStatus", stringScalar("OK"));
  insertMember(report, "selectorHintStale", booleanScalar(false));
  insertMember(report, "selectedInterfaceOrdinal", integerScalar(1));
  insertMember(report, "selectionStatus", stringScalar("OK"));
  insertMember(report, "interfacesStatus", stringScalar("OK"));
  insertMember(report, "interfaces",
               Rows{{{"ordinal", integerScalar(1)},
                     {"operStatus", integerScalar(-1)},
                     {"interfaceMetric", integerScalar(5)}},
                    {{"ordinal", integerScalar(2)},
                     {"operStatus", integerScalar(2)},
                     {"interfaceMetric", integerScalar(4294967295)}}});
  insertMember(report, "defaultRoutesStatus", stringScalar("SNAPSHOT_INCONSISTENT"));
  insertMember(report, "defaultRoutes",
               Rows{{{"family", integerScalar(4)},
                     {"interfaceOrdinal", integerScalar(2)},
                     {"interfaceOrdinalStatus", stringScalar("OK")},
                     {"routeMetric", integerScalar(100)}},
                    {{"family", integerScalar(6)},
                     {"interfaceOrdinal", nullScalar()},
                     {"interfaceOrdinalStatus", stringScalar("ROUTE_INTERFACE_UNMAPPED")},
                     {"routeMetric", integerScalar(200)}}});
  insertMember(report, "socketSourcesStatus", stringScalar("OK"));
  insertMember(report, "observedSocketSources", Rows{{{"interfaceOrdinal", integerScalar(1)}}});
  return report;
}

// The report of a text that is not refused.
EgressReport readBack(std::string_view text) {
  const Result<EgressReport> result = reportFromJson(ExactText(text).view());
  if (const auto* const refusal = std::get_if<Refusal>(&result)) {
    ADD_FAILURE() << toString(*refusal);
    return {};
  }
  return std::get<EgressReport>(result);
}

Json reportJson() {
  return Json::parse(kReportText);
}

// A pointer to a member, and one to the object that has it.
struct MemberPlace {
  explicit MemberPlace(std::string_view place) : pointer(std::string(place)) {}
  [[nodiscard]] Json& object(Json& root) const { return root.at(pointer.parent_pointer()); }

  Json::json_pointer pointer;
};

TEST(ReportToJson, WritesTheMembersInTheirOrder) {
  EXPECT_EQ(reportToJson(builtReport()), kReportText);
}

TEST(ReportToJson, WritesAReportWithoutAConfiguration) {
  EXPECT_EQ(reportToJson(diagnoseEgress({})), R"({
  "configStatus": "NO_CONFIG",
  "egressSelectionPolicy": "unknown",
  "activeEndpointStatus": "NOT_EVALUATED_CONFIG_UNAVAILABLE",
  "selectorHintStale": false,
  "selectedInterfaceOrdinal": null,
  "selectionStatus": "NOT_EVALUATED_ENDPOINT_UNAVAILABLE",
  "interfacesStatus": "OK",
  "interfaces": [],
  "defaultRoutesStatus": "OK",
  "defaultRoutes": [],
  "socketSourcesStatus": "OK",
  "observedSocketSources": []
})");
}

TEST(ReportToJson, WritesAnyReport) {
  EXPECT_EQ(reportToJson({}), "{}");
  EgressReport report;
  insertMember(report, "z\n", stringScalar("a\"\xFF"));
  insertMember(report, "a", integerScalar(std::numeric_limits<std::int64_t>::min()));
  insertMember(report, "rows", std::vector<ReportRow>{{}});
  EXPECT_EQ(reportToJson(report),
            "{\n  \"z\\n\": \"a\\\"\xEF\xBF\xBD\",\n  \"a\": -9223372036854775808,\n"
            "  \"rows\": [\n    {}\n  ]\n}");
}

TEST(ReportToJson, AValueOfNoKnownKindIsNull) {
  EgressReport report;
  ReportScalar scalar = integerScalar(5);
  scalar.kind = static_cast<ReportKind>(9);
  insertMember(report, "a", scalar);
  EXPECT_EQ(reportToJson(report), "{\n  \"a\": null\n}");
}

TEST(ReportFromJson, ReadsTheMembersAndRows) {
  EXPECT_EQ(readBack(kReportText), builtReport());
}

TEST(ReportFromJson, TheReportsOfDiagnosesComeBackEqual) {
  HostSnapshot failed = fullSnapshot();
  HostSnapshot inconsistent = fullSnapshot();
  inconsistent.adapters.enumFailed = false;
  inconsistent.routes.enumFailed = false;
  inconsistent.sockets.enumFailed = false;
  HostSnapshot osRouted;
  osRouted.config.configStatus = ConfigStatus::OK;
  std::set<std::string> texts;
  for (const HostSnapshot& snapshot : {HostSnapshot{}, failed, inconsistent, osRouted}) {
    const EgressReport report = diagnoseEgress(toInput(snapshot));
    const std::string text = reportToJson(report);
    texts.insert(text);
    EXPECT_EQ(readBack(text), report) << text;
  }
  EXPECT_EQ(texts.size(), 4U);
}

TEST(ReportFromJson, MembersMayStandInAnyOrder) {
  const Json object = reportJson();
  Json reversed = Json::object();
  for (auto member = object.rbegin(); member != object.rend(); ++member) {
    reversed[member.key()] = member.value();
  }
  reversed["defaultRoutes"][0] = Json::parse(
      R"({"routeMetric": 100, "interfaceOrdinalStatus": "OK", "interfaceOrdinal": 2, "family": 4})");
  ASSERT_EQ(reversed.begin().key(), "observedSocketSources");
  EXPECT_EQ(readBack(reversed.dump()), builtReport());
}

TEST(ReportFromJson, OfARepeatedMemberTheLastIsRead) {
  const std::string text(kReportText);
  EXPECT_EQ(readBack(R"({"configStatus": 5, )" + text.substr(1)), builtReport());
}

TEST(ReportFromJson, HowTheMembersGoTogetherIsNotChecked) {
  Json object = reportJson();
  object["selectedInterfaceOrdinal"] = nullptr;  // although "selectionStatus" is "OK"
  EXPECT_EQ(reportToJson(readBack(object.dump())), object.dump(2));
}

TEST(ReportFromJson, RefusesAReportWithoutOneOfItsMembers) {
  for (const std::string_view place : {"/configStatus",
                                       "/autoDetectInterfaceEnabled",
                                       "/egressSelectionPolicy",
                                       "/activeEndpointStatus",
                                       "/selectorHintStale",
                                       "/selectedInterfaceOrdinal",
                                       "/selectionStatus",
                                       "/interfacesStatus",
                                       "/interfaces",
                                       "/interfaces/0/ordinal",
                                       "/interfaces/0/operStatus",
                                       "/interfaces/1/interfaceMetric",
                                       "/defaultRoutesStatus",
                                       "/defaultRoutes",
                                       "/defaultRoutes/1/family",
                                       "/defaultRoutes/0/interfaceOrdinal",
                                       "/defaultRoutes/0/interfaceOrdinalStatus",
                                       "/defaultRoutes/1/routeMetric",
                                       "/socketSourcesStatus",
                                       "/observedSocketSources",
                                       "/observedSocketSources/0/interfaceOrdinal"}) {
    SCOPED_TRACE(place);
    Json object = reportJson();
    const MemberPlace member(place);
    ASSERT_EQ(member.object(object).erase(member.pointer.back()), 1U);
    expectRefused(reportFromJson(object.dump()), place, "missing");
  }
}

TEST(ReportFromJson, RefusesAnUnknownMember) {
  for (const std::string_view place :
       {"/unknown", "/interfaces/1/interfaceIndex", "/defaultRoutes/0/ordinal",
        "/observedSocketSources/0/ordinal", "/a~1b~0c", "/", "/ordinal"}) {
    Json object = reportJson();
    object[Json::json_pointer(std::string(place))] = 1;
    expectRefused(reportFromJson(object.dump()), place, "unknown member");
  }
  Json object = reportJson();
  object[std::string(100, 'k')] = 1;
  expectRefused(reportFromJson(object.dump()), "/" + std::string(40, 'k'), "unknown member");
}

TEST(ReportFromJson, AutoDetectIsPresentExactlyIfTheConfigurationIsUsable) {
  Json object = reportJson();
  for (const std::string_view status :
       {"NO_CONFIG", "JSON_PARSE_FAILED", "AUTO_DETECT_MISSING", "AUTO_DETECT_INVALID"}) {
    object["configStatus"] = status;
    object["autoDetectInterfaceEnabled"] = false;
    expectRefused(reportFromJson(object.dump()), "/autoDetectInterfaceEnabled", "unknown member");
    object.erase("autoDetectInterfaceEnabled");
    EXPECT_EQ(reportToJson(readBack(object.dump())), object.dump(2));
  }
  object["configStatus"] = "OK";
  expectRefused(reportFromJson(object.dump()), "/autoDetectInterfaceEnabled", "missing");
}

struct ValueRow {
  std::string_view place;
  std::string_view value;
  std::string_view reason;
};

constexpr auto kRefusedValues = std::to_array<ValueRow>({
    // Words: of another kind, of no vocabulary, of another one.
    {.place = "/configStatus", .value = "null", .reason = "null is not a word of this member"},
    {.place = "/configStatus", .value = "0", .reason = "0 is not a word of this member"},
    {.place = "/configStatus", .value = "true", .reason = "true is not a word of this member"},
    {.place = "/configStatus", .value = "[]", .reason = "an array is not a word of this member"},
    {.place = "/configStatus", .value = "{}", .reason = "an object is not a word of this member"},
    {.place = "/configStatus",
     .value = R"("FINE")",
     .reason = R"("FINE" is not a word of this member)"},
    {.place = "/configStatus", .value = R"("")", .reason = R"("" is not a word of this member)"},
    {.place = "/egressSelectionPolicy",
     .value = R"("OK")",
     .reason = R"("OK" is not a word of this member)"},
    {.place = "/activeEndpointStatus",
     .value = R"("NO_CONFIG")",
     .reason = R"("NO_CONFIG" is not a word of this member)"},
    {.place = "/selectionStatus",
     .value = R"("unknown")",
     .reason = R"("unknown" is not a word of this member)"},
    {.place = "/interfacesStatus",
     .value = R"("ROUTE_ENUM_FAILED")",
     .reason = R"("ROUTE_ENUM_FAILED" is not a word of this member)"},
    {.place = "/defaultRoutesStatus",
     .value = R"("ADAPTER_ENUM_FAILED")",
     .reason = R"("ADAPTER_ENUM_FAILED" is not a word of this member)"},
    {.place = "/socketSourcesStatus",
     .value = R"("ok")",
     .reason = R"("ok" is not a word of this member)"},
    {.place = "/defaultRoutes/1/interfaceOrdinalStatus",
     .value = R"("SNAPSHOT_INCONSISTENT")",
     .reason = R"("SNAPSHOT_INCONSISTENT" is not a word of this member)"},
    {.place = "/defaultRoutes/0/interfaceOrdinalStatus",
     .value = "null",
     .reason = "null is not a word of this member"},
    // Booleans.
    {.place = "/autoDetectInterfaceEnabled",
     .value = "null",
     .reason = "null is not true or false"},
    {.place = "/autoDetectInterfaceEnabled", .value = "1", .reason = "1 is not true or false"},
    {.place = "/selectorHintStale",
     .value = R"("false")",
     .reason = R"("false" is not true or false)"},
    // Integers.
    {.place = "/selectedInterfaceOrdinal", .value = R"("1")", .reason = R"("1" is not a number)"},
    {.place = "/selectedInterfaceOrdinal", .value = "false", .reason = "false is not a number"},
    {.place = "/selectedInterfaceOrdinal", .value = "[1]", .reason = "an array is not a number"},
    {.place = "/selectedInterfaceOrdinal",
     .value = "1.0",
     .reason = "1.0 is not an integer that fits"},
    {.place = "/interfaces/0/ordinal", .value = "null", .reason = "null is not a number"},
    {.place = "/interfaces/1/operStatus",
     .value = "0.5",
     .reason = "0.5 is not an integer that fits"},
    {.place = "/interfaces/1/interfaceMetric",
     .value = "9223372036854775808",
     .reason = "9223372036854775808 does not fit"},
    {.place = "/defaultRoutes/0/family", .value = "null", .reason = "null is not a number"},
    {.place = "/defaultRoutes/0/interfaceOrdinal",
     .value = R"("OK")",
     .reason = R"("OK" is not a number)"},
    {.place = "/defaultRoutes/0/routeMetric", .value = "null", .reason = "null is not a number"},
    {.place = "/observedSocketSources/0/interfaceOrdinal",
     .value = "null",
     .reason = "null is not a number"},
    // Rows.
    {.place = "/interfaces", .value = "null", .reason = "null is not an array"},
    {.place = "/interfaces", .value = "{}", .reason = "an object is not an array"},
    {.place = "/defaultRoutes", .value = R"("OK")", .reason = R"("OK" is not an array)"},
    {.place = "/observedSocketSources", .value = "1", .reason = "1 is not an array"},
    {.place = "/interfaces/1", .value = "null", .reason = "null is not an object"},
    {.place = "/defaultRoutes/0", .value = "[]", .reason = "an array is not an object"},
    {.place = "/observedSocketSources/0", .value = "1", .reason = "1 is not an object"},
});

TEST(ReportFromJson, RefusesValuesOfAnotherKindOrVocabulary) {
  for (const ValueRow& row : kRefusedValues) {
    SCOPED_TRACE(testing::Message() << row.place << " " << row.value);
    Json object = reportJson();
    object.at(Json::json_pointer(std::string(row.place))) = Json::parse(row.value);
    expectRefused(reportFromJson(object.dump()), row.place, row.reason);
  }
}

TEST(ReportFromJson, ReadsNullWhereTheReportMayHaveIt) {
  Json object = reportJson();
  object["selectedInterfaceOrdinal"] = nullptr;
  object["defaultRoutes"][0]["interfaceOrdinal"] = nullptr;
  EXPECT_EQ(reportToJson(readBack(object.dump())), object.dump(2));
}

TEST(ReportFromJson, ReadsIntegersOf64Bits) {
  Json object = reportJson();
  object["selectedInterfaceOrdinal"] = std::numeric_limits<std::int64_t>::max();
  object["interfaces"][0]["operStatus"] = std::numeric_limits<std::int64_t>::min();
  EXPECT_EQ(reportToJson(readBack(object.dump())), object.dump(2));
}

TEST(ReportFromJson, RefusesTextThatIsNoJsonOrNoObject) {
  expectRefused(reportFromJson(""), "", "the text is empty");
  expectRefused(reportFromJson("{} x"), "",
                "not JSON: line 1, byte 3 of the text: BYTES_AFTER_ROOT");
  expectRefused(reportFromJson("null"), "", "null is not an object");
  expectRefused(reportFromJson("[]"), "", "an array is not an object");
  expectRefused(reportFromJson("\"OK\""), "", "\"OK\" is not an object");
  expectRefused(reportFromJson("{}"), "/configStatus", "missing");
}

TEST(ReportFromJson, EveryCutIsRefused) {
  forEveryCut(kReportText, [](std::string_view cut) {
    const Result<EgressReport> result = reportFromJson(cut);
    const auto* const refusal = std::get_if<Refusal>(&result);
    ASSERT_NE(refusal, nullptr) << cut;
    EXPECT_EQ(refusal->reason, cut.empty() ? "the text is empty"
                                           : "cut off after byte " + std::to_string(cut.size()));
  });
}

}  // namespace
}  // namespace egress::snapshot
