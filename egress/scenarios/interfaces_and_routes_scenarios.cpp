#include <array>

#include "egress/scenarios/scenarios.h"
#include "egress/selfcheck/fixtures.h"
#include "egress/selfcheck/report_readers.h"

namespace egress {
namespace {

struct RowIntegerCheck {
  std::string_view label;
  std::size_t row = 1;  // counted from 1
  std::string_view key;
  std::int64_t value = 0;
};

constexpr auto kInterfaceRowChecks = std::to_array<RowIntegerCheck>({
    {.label = "interfaces/ordinal 1", .row = 1, .key = "ordinal", .value = 1},
    {.label = "interfaces/metric 1", .row = 1, .key = "interfaceMetric", .value = 5},
    {.label = "interfaces/operStatus 1", .row = 1, .key = "operStatus", .value = 1},
    {.label = "interfaces/ordinal 2", .row = 2, .key = "ordinal", .value = 2},
    {.label = "interfaces/metric 2", .row = 2, .key = "interfaceMetric", .value = 25},
});

constexpr auto kRouteRowChecks = std::to_array<RowIntegerCheck>({
    {.label = "routes/family v4", .row = 1, .key = "family", .value = 4},
    {.label = "routes/ordinal v4", .row = 1, .key = "interfaceOrdinal", .value = 1},
    {.label = "routes/metric v4", .row = 1, .key = "routeMetric", .value = 0},
});

// Checks that the member has exactly `count` rows. Returns nullptr otherwise, because its rows
// cannot be checked then.
const std::vector<ReportRow>* checkRowCount(CheckRecorder& recorder, const EgressReport& report,
                                            std::string_view key, std::size_t count,
                                            std::string_view label) {
  const std::vector<ReportRow>* const rows = reportRows(report, key);
  const bool complete = rows != nullptr && rows->size() == count;
  recordCheck(recorder, complete, label);
  return complete ? rows : nullptr;
}

void checkRow(CheckRecorder& recorder, const std::vector<ReportRow>& rows,
              const RowIntegerCheck& check) {
  recordCheck(recorder, rowInteger(rows[check.row - 1], check.key) == check.value, check.label);
}

void runOrdinals(SelfCheckRun& run) {
  CheckRecorder& recorder = run.recorder;
  const EgressReport report =
      diagnoseAndAudit(run, "interfaces/ordinals", makeDefaultInput(/*autoDetectInterface=*/true));
  if (const auto* const rows =
          checkRowCount(recorder, report, "interfaces", 2, "interfaces/ordinals count")) {
    for (const RowIntegerCheck& check : kInterfaceRowChecks) checkRow(recorder, *rows, check);
  }
  if (const auto* const rows =
          checkRowCount(recorder, report, "defaultRoutes", 2, "routes/count")) {
    for (const RowIntegerCheck& check : kRouteRowChecks) checkRow(recorder, *rows, check);
    checkEqual(recorder, rowString(rows->at(1), "interfaceOrdinalStatus"), "OK",
               "routes/status v6");
  }
  checkEqual(recorder, reportString(report, "defaultRoutesStatus"), "OK", "routes/status ok");
}

void runRouteEnumFailed(SelfCheckRun& run) {
  DiagnosisInput input = makeDefaultInput(/*autoDetectInterface=*/true);
  input.routes.enumFailed = true;
  const EgressReport report = diagnoseAndAudit(run, "routes/enum-failed", input);
  checkEqual(run.recorder, reportString(report, "defaultRoutesStatus"), "ROUTE_ENUM_FAILED",
             "routes/enum-failed status");
  checkRowCount(run.recorder, report, "defaultRoutes", 0, "routes/enum-failed rows empty");
}

void runSnapshotInconsistent(SelfCheckRun& run) {
  DiagnosisInput input = makeDefaultInput(/*autoDetectInterface=*/true);
  input.routes.rows.push_back({.family = 4, .interfaceIndex = 99, .routeMetric = 5});
  const EgressReport report = diagnoseAndAudit(run, "routes/snapshot-inconsistent", input);
  checkEqual(run.recorder, reportString(report, "defaultRoutesStatus"), "SNAPSHOT_INCONSISTENT",
             "routes/snapshot-inconsistent status");
  if (const auto* const rows = checkRowCount(run.recorder, report, "defaultRoutes", 3,
                                             "routes/snapshot-inconsistent count")) {
    checkEqual(run.recorder, rowString(rows->at(2), "interfaceOrdinalStatus"),
               "ROUTE_INTERFACE_UNMAPPED", "routes/snapshot-inconsistent row status");
  }
}

}  // namespace

void runInterfacesAndRoutesScenarios(SelfCheckRun& run) {
  runOrdinals(run);
  runRouteEnumFailed(run);
  runSnapshotInconsistent(run);
}

}  // namespace egress
