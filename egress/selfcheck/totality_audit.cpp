#include "egress/selfcheck/totality_audit.h"

#include "egress/core/diagnose_egress.h"
#include "egress/core/report_table.h"
#include "egress/selfcheck/report_readers.h"

namespace egress {
namespace {

std::vector<ExportedKey> makeExportedKeys() {
  std::vector<ExportedKey> keys;
  for (const ReportMemberField& member : kReportMembers) {
    const ReportField& field = member.field;
    if (field.kind != ReportKind::String) continue;
    keys.push_back({std::string(field.key), field.key, "", field.declaredWords});
  }
  for (const ReportMemberField& member : kReportMembers) {
    for (const ReportField& column : member.columns) {
      if (column.kind != ReportKind::String) continue;
      const std::string key = std::string(member.field.key) + "[]." + std::string(column.key);
      keys.push_back({key, member.field.key, column.key, column.declaredWords});
    }
  }
  return keys;
}

WordSet makeExportedVocabulary() {
  WordSet vocabulary;
  for (const ExportedKey& exported : exportedKeys()) {
    const WordList& words = exported.declaredWords();
    vocabulary.insert(words.begin(), words.end());
  }
  return vocabulary;
}

const WordSet& exportedVocabulary() {
  static const WordSet vocabulary = makeExportedVocabulary();
  return vocabulary;
}

// `place` is " at key " or " in row key ".
void auditString(SelfCheckRun& run, std::string_view label, const ReportScalar& scalar,
                 const std::string& place, const std::string& key) {
  if (scalar.kind != ReportKind::String) return;
  if (exportedVocabulary().contains(scalar.stringValue)) return;
  recordFailure(run.recorder, label,
                "undeclared exported string '" + scalar.stringValue + "'" + place + key);
}

}  // namespace

const std::vector<ExportedKey>& exportedKeys() {
  static const std::vector<ExportedKey> keys = makeExportedKeys();
  return keys;
}

void recordProducedValues(SelfCheckRun& run, const EgressReport& report) {
  for (const ExportedKey& exported : exportedKeys()) {
    WordSet& produced = run.producedValues[exported.key];
    if (exported.column.empty()) {
      produced.insert(reportString(report, exported.member));
    } else if (const std::vector<ReportRow>* const rows = reportRows(report, exported.member)) {
      for (const ReportRow& row : *rows) produced.insert(rowString(row, exported.column));
    }
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
                   const WordList& declared) {
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
  for (const ExportedKey& exported : exportedKeys()) {
    auditTotality(run.recorder, exported.key, run.producedValues[exported.key],
                  exported.declaredWords());
  }
}

}  // namespace egress
