#include "egress/scenarios/scenarios.h"
#include "egress/selfcheck/fixtures.h"
#include "egress/selfcheck/report_check.h"

namespace egress {
namespace {

void keepSnapshots(DiagnosisInput& /*input*/) {}

void failSockets(DiagnosisInput& input) {
  input.sockets.enumFailed = true;
}

void failAdapters(DiagnosisInput& input) {
  input.adapters.enumFailed = true;
}

void shareOneAddress(DiagnosisInput& input) {
  input.adapters.rows = {makeInterfaceRow(5, 1, 5, {"10.0.0.7"}),
                         makeInterfaceRow(11, 1, 25, {"10.0.0.7"})};
}

struct SelectionCase {
  std::string_view name;
  void (*change)(DiagnosisInput& input) = keepSnapshots;
  std::vector<SocketSource> sockets;
  std::vector<ReportCheck> checks;
};

std::vector<SelectionCase> selectionCases() {
  return {
      {.name = "selection/ok",
       .sockets = {makeSocketSource("10.0.0.7", 51000, "198.51.100.10", 443),
                   makeSocketSource("192.168.1.50", 51001, "203.0.113.200", 443)},
       .checks = {{.label = "selection/ok status",
                   .key = "selectionStatus",
                   .expected = IsWord{"OK"}},
                  {.label = "selection/ok ordinal",
                   .key = "selectedInterfaceOrdinal",
                   .expected = IsInteger{1}},
                  {.label = "selection/ok observedSocketSources counts both adapters",
                   .key = "observedSocketSources",
                   .expected = HasRows{2}}}},
      {.name = "selection/socket-enum-failed",
       .change = failSockets,
       .sockets = {},
       .checks = {{.label = "selection/socket-enum-failed status",
                   .key = "selectionStatus",
                   .expected = IsWord{"NOT_EVALUATED_SOCKET_ENUM_FAILED"}},
                  {.label = "selection/socket-enum-failed socketSourcesStatus",
                   .key = "socketSourcesStatus",
                   .expected = IsWord{"SOCKET_ENUM_FAILED"}}}},
      {.name = "selection/adapter-enum-failed",
       .change = failAdapters,
       .sockets = {makeSocketSource("10.0.0.7", 51000, "198.51.100.10", 443)},
       .checks = {{.label = "selection/adapter-enum-failed status",
                   .key = "selectionStatus",
                   .expected = IsWord{"NOT_EVALUATED_ADAPTER_ENUM_FAILED"}},
                  {.label = "selection/adapter-enum-failed interfacesStatus",
                   .key = "interfacesStatus",
                   .expected = IsWord{"ADAPTER_ENUM_FAILED"}},
                  {.label = "selection/adapter-enum-failed interfaces empty",
                   .key = "interfaces",
                   .expected = HasRows{0}},
                  {.label = "selection/adapter-enum-failed routes kept",
                   .key = "defaultRoutes",
                   .expected = HasRows{2}}}},
      {.name = "selection/no-match",
       .sockets = {makeSocketSource("10.0.0.7", 51000, "203.0.113.200", 443)},
       .checks = {{.label = "selection/no-match status",
                   .key = "selectionStatus",
                   .expected = IsWord{"NO_MATCHING_SOCKET"}}}},
      {.name = "selection/unmapped",
       .sockets = {makeSocketSource("172.16.9.9", 51000, "198.51.100.10", 443)},
       .checks = {{.label = "selection/unmapped status",
                   .key = "selectionStatus",
                   .expected = IsWord{"SOCKET_SOURCE_ADDRESS_UNMAPPED"}}}},
      {.name = "selection/partial",
       .sockets = {makeSocketSource("10.0.0.7", 51000, "198.51.100.10", 443),
                   makeSocketSource("172.16.9.9", 51002, "198.51.100.10", 443)},
       .checks = {{.label = "selection/partial status",
                   .key = "selectionStatus",
                   .expected = IsWord{"PARTIAL_SOCKET_SOURCE_MAPPING"}},
                  {.label = "selection/partial ordinal null",
                   .key = "selectedInterfaceOrdinal",
                   .expected = IsNull{}}}},
      {.name = "selection/multiple",
       .sockets = {makeSocketSource("10.0.0.7", 51000, "198.51.100.10", 443),
                   makeSocketSource("192.168.1.50", 51002, "198.51.100.10", 443)},
       .checks = {{.label = "selection/multiple status",
                   .key = "selectionStatus",
                   .expected = IsWord{"MULTIPLE_MATCHING_SOCKET_INTERFACES"}}}},
      {.name = "selection/ambiguous",
       .change = shareOneAddress,
       .sockets = {makeSocketSource("10.0.0.7", 51000, "198.51.100.10", 443)},
       .checks = {{.label = "selection/ambiguous status",
                   .key = "selectionStatus",
                   .expected = IsWord{"ADDRESS_INTERFACE_AMBIGUOUS"}}}},
  };
}

}  // namespace

void runSelectionScenarios(SelfCheckRun& run) {
  for (const SelectionCase& row : selectionCases()) {
    DiagnosisInput input = makeDefaultInput(/*autoDetectInterface=*/true);
    row.change(input);
    input.sockets.rows = row.sockets;
    const EgressReport report = diagnoseAndAudit(run, row.name, input);
    for (const ReportCheck& check : row.checks) checkReport(run.recorder, report, check);
  }
}

}  // namespace egress
