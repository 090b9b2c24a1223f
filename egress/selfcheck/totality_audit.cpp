#include "egress/selfcheck/totality_audit.h"

#include "egress/core/diagnose_egress.h"
#include "egress/selfcheck/report_readers.h"

namespace egress {
namespace {

WordSet makeExportedVocabulary() {
  WordSet vocabulary;
  const auto add = [&vocabulary](const std::vector<std::string>& words) {
    vocabulary.insert(words.begin(), words.end());
  };
  for (const ExportedKey& status : kTopLevelStatuses) add(status.declaredWords());
  add(kRouteRowStatus.declaredWords());
  return vocabulary;
}

const WordSet& exportedVocabulary() {
  static const WordSet vocabulary = makeExportedVocabulary();
  return vocabulary;
}

// `place` says in what sort of place the key stands: " at key " or " in row key ".
void auditString(SelfCheckRun& run, std::string_view label, const ReportScalar& scalar,
                 const std::string& place, const std::string& key) {
  if (scalar.kind != ReportKind::String) return;
  if (exportedVocabulary().contains(scalar.stringValue)) return;
  recordFailure(run.recorder, label,
                "undeclared exported string '" + scalar.stringValue + "'" + place + key);
}

}  // namespace

void recordProducedValues(SelfCheckRun& run, const EgressReport& report) {
  for (const ExportedKey& status : kTopLevelStatuses) {
    run.producedValues[status.key].insert(reportString(report, status.key));
  }
  const std::vector<ReportRow>* const routes = reportRows(report, "defaultRoutes");
  if (routes == nullptr) return;
  for (const ReportRow& route : *routes) {
    run.producedValues[kRouteRowStatus.key].insert(rowString(route, "interfaceOrdinalStatus"));
  }
}

void auditExportedStrings(SelfCheckRun& run, std::string_view label, const EgressReport& report) {
  for (const ReportMember& member : report.members) {
    if (const auto* const scalar = std::get_if<ReportScalar>(&member.value)) {
      auditString(run, label, *scalar, " at key ", member.key);
      continue;
    }
    for (const ReportRow& row : std::get<std::vector<ReportRow>>(member.value)) {
      for (const auto& [key, scalar] : row) auditString(run, label, scalar, " in row key ", key);
    }
  }
}

EgressReport diagnoseAndAudit(SelfCheckRun& run, std::string_view label,
                              const DiagnosisInput& diagnosisInput) {
  EgressReport report = diagnoseEgress(diagnosisInput);
  recordProducedValues(run, report);
  auditExportedStrings(run, label, report);
  return report;
}

void auditTotality(CheckRecorder& recorder, std::string_view key, const WordSet& produced,
                   const std::vector<std::string>& declared) {
  ++recorder.checkCount;
  const std::string label = "totality/" + std::string(key);
  const WordSet declaredWords(declared.begin(), declared.end());
  for (const std::string& word : declaredWords) {
    if (produced.contains(word)) continue;
    recordFailure(recorder, label, "declared value never exercised: " + word);
  }
  for (const std::string& word : produced) {
    if (declaredWords.contains(word)) continue;
    recordFailure(recorder, label, "undeclared value produced: " + word);
  }
}

void auditAllTotalities(SelfCheckRun& run) {
  const auto audit = [&run](const ExportedKey& status) {
    auditTotality(run.recorder, status.key, run.producedValues[status.key], status.declaredWords());
  };
  for (const ExportedKey& status : kTopLevelStatuses) audit(status);
  audit(kRouteRowStatus);
}

}  // namespace egress
