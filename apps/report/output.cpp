#include "apps/report/output.h"

#include "apps/report/answer.h"
#include "apps/report/culprit.h"
#include "apps/report/explain.h"
#include "apps/report/notes.h"
#include "apps/report/terminal.h"
#include "apps/report/text.h"
#include "egress/core/write_report.h"
#include "egress_snapshot/details_json.h"
#include "egress_snapshot/report_json.h"

namespace egress::report {
namespace {

using snapshot::HostSnapshot;

template <typename Row>
void printFailure(const char* name, const snapshot::SnapshotList<Row>& list, const char* remedy) {
  if (list.failureReason.empty()) return;
  printError(std::string(name) + ": " + list.failureReason + remedy);
}

void printFailures(const HostSnapshot& snapshot) {
  const bool isDenied = isForLackOfPermission(snapshot.sockets.failureReason);
  printFailure("sockets", snapshot.sockets,
               isDenied ? "; run egress-report as root, or as the user of the engine" : "");
  printFailure("adapters", snapshot.adapters, "");
  printFailure("routes", snapshot.routes, "");
  for (const snapshot::MissingFact& missing : snapshot.missingFacts) {
    // Marks matter only to routes, whose reason says so.
    if (missing.fact == snapshot::FactKind::MARK || missing.reason.empty()) continue;
    printError(std::string(nameOf(missing.fact)) + ": " + missing.reason);
  }
}

}  // namespace

std::string outputText(const Options& options, const Finding& finding) {
  switch (options.output) {
    case Output::TEXT: return answerText(finding, terminalStyle());
    case Output::EXPLAINED: break;
    case Output::REPORT: return snapshot::reportToJson(writeReport(finding.diagnosis())) + '\n';
    case Output::DETAILS: return detailsToJson(finding.snapshot, finding.addresses) + '\n';
  }
  return answerText(finding, terminalStyle()) + '\n' + explain(finding);
}

void printNotes(const Options& options, const Finding& finding) {
  printFailures(finding.snapshot);
  if (options.output == Output::DETAILS) return;  // they have these
  for (const Note& note : inputNotes(finding)) printError(note.label + ": " + note.text);
}

}  // namespace egress::report
