#ifndef EGRESS_SELFCHECK_TOTALITY_AUDIT_H
#define EGRESS_SELFCHECK_TOTALITY_AUDIT_H

#include <functional>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "egress/core/diagnosis_input.h"
#include "egress/core/egress_report.h"
#include "egress/core/status_words.h"
#include "egress/selfcheck/check_recorder.h"

namespace egress {

// A key whose value is a status word, and the words declared for it.
struct ExportedKey {
  std::string key;          // "selectionStatus"; "defaultRoutes[].interfaceOrdinalStatus" in rows
  std::string_view member;  // of the report
  std::string_view column;  // of the member's rows; empty for a status of the report itself
  const WordList& (*declaredWords)() = nullptr;
};

// All exported keys, from the report table: first those of the report itself, then those of rows.
[[nodiscard]] const std::vector<ExportedKey>& exportedKeys();

// Words in byte order, a prefix before the longer word.
using WordSet = std::set<std::string, std::less<>>;

// One run of the self-check: its counters, and for each exported key the words that its diagnoses
// have produced, with "<missing>" for a status that was absent or not a string.
struct SelfCheckRun {
  CheckRecorder recorder;
  std::map<std::string_view, WordSet> producedValues;
};

// Adds the words that a report holds under the exported keys to the produced ones.
void recordProducedValues(SelfCheckRun& run, const EgressReport& report);

// Records a failure for every string in the report that no vocabulary declares. The totality audit
// checks that each word belongs to its key.
void auditExportedStrings(SelfCheckRun& run, std::string_view label, const EgressReport& report);

// Diagnoses, then does both of the above under the scenario's name. All scenarios diagnose through
// this function.
[[nodiscard]] EgressReport diagnoseAndAudit(SelfCheckRun& run, std::string_view label,
                                            const DiagnosisInput& diagnosisInput);

// One check: that the words produced under a key are exactly the declared ones. Each missing
// declared word and each undeclared word is a failure of its own.
void auditTotality(CheckRecorder& recorder, std::string_view key, const WordSet& produced,
                   const WordList& declared);

// The totality audit of every exported key, after all scenarios.
void auditAllTotalities(SelfCheckRun& run);

}  // namespace egress

#endif
