#include "egress_snapshot/json_layout.h"

#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "egress/core/diagnose_egress.h"
#include "egress/core/write_report.h"
#include "egress_snapshot/details_json.h"
#include "egress_snapshot/diagnose_snapshot.h"
#include "egress_snapshot/json_writer.h"
#include "egress_snapshot/report_json.h"
#include "tests/egress_snapshot/detailed_snapshot.h"
#include "tests/egress_snapshot/full_snapshot.h"

namespace egress::snapshot {
namespace {

using OrderedJson = nlohmann::ordered_json;
using enum JsonLayout;

// Its texts have every line end: those of ASCII, NEL, LINE SEPARATOR and PARAGRAPH SEPARATOR.
HostSnapshot snapshotWithLineEnds() {
  const std::string text = "\n\r\v\f\r\n\xC2\x85\xE2\x80\xA8\xE2\x80\xA9";
  HostSnapshot snapshot = detailedSnapshot();
  snapshot.origin = {.time = text, .program = text, .programVersion = text, .system = text};
  snapshot.config.outbounds.front().type += text;
  for (Adapter& row : snapshot.adapters.rows) row.name = text;
  for (Socket& row : snapshot.sockets.rows) row.localAddress += text;
  snapshot.missingFacts = {{.fact = FactKind::MARK, .reason = text}};
  snapshot.processes = {{.id = 1, .user = 2, .program = text}};
  snapshot.routes.enumFailed = true;
  snapshot.routes.failureReason = text;
  return snapshot;
}

std::string detailsOf(const HostSnapshot& snapshot, JsonLayout layout) {
  std::vector<AddressFinding> findings = diagnoseAddresses(snapshot);
  crossCheckAddresses(snapshot, findings);
  return detailsToJson(snapshot, findings, layout);
}

void expectSameOnOneLine(const std::string& indented, const std::string& line) {
  EXPECT_NE(indented.find('\n'), std::string::npos);
  EXPECT_EQ(line.find_first_of("\n\r"), std::string::npos) << line;
  const OrderedJson value = OrderedJson::parse(indented);
  EXPECT_EQ(indented, value.dump(2));
  EXPECT_EQ(line, value.dump());
}

TEST(JsonLayout, DetailsHaveTheSameValueOnOneLine) {
  for (const HostSnapshot& snapshot :
       {HostSnapshot{}, detailedSnapshot(), fullSnapshot(), snapshotWithLineEnds()}) {
    expectSameOnOneLine(detailsOf(snapshot, INDENTED), detailsOf(snapshot, ONE_LINE));
  }
}

TEST(JsonLayout, AReportHasTheSameValueOnOneLine) {
  for (const HostSnapshot& snapshot : {HostSnapshot{}, detailedSnapshot()}) {
    const EgressReport report = diagnoseEgress(toInput(snapshot));
    expectSameOnOneLine(reportToJson(report, INDENTED), reportToJson(report, ONE_LINE));
  }
}

TEST(JsonLayout, AKeyWithALineEndStaysOnOneLine) {
  std::string text;
  JsonWriter writer([&text](std::string_view part) { text += part; }, ONE_LINE);
  writer.open('{');
  writer.member("a\n");
  writer.open('[');
  writer.element();
  writer.scalar("\r\n");
  writer.element();
  writer.open('{');
  writer.close('}');
  writer.close(']');
  writer.close('}');
  writer.finish();
  EXPECT_EQ(text, R"({"a\n":["\r\n",{}]})");
}

TEST(JsonLayout, IndentedIsTheDefault) {
  const HostSnapshot snapshot = detailedSnapshot();
  EXPECT_EQ(detailsToJson(snapshot, diagnoseAddresses(snapshot)),
            detailsToJson(snapshot, diagnoseAddresses(snapshot), INDENTED));
  const EgressReport report = writeReport(diagnose(snapshot));
  EXPECT_EQ(reportToJson(report), reportToJson(report, INDENTED));
}

}  // namespace
}  // namespace egress::snapshot
