#include "egress/selfcheck/report_check.h"

#include <string>

#include "egress/selfcheck/report_readers.h"

namespace egress {
namespace {

bool meets(const EgressReport& report, std::string_view key, const IsInteger& expected) {
  return reportInteger(report, key) == expected.value;
}

bool meets(const EgressReport& report, std::string_view key, const IsBoolean& expected) {
  const ReportScalar* const scalar = findReportScalar(report, key);
  return scalar != nullptr && scalar->kind == ReportKind::Boolean &&
         scalar->boolValue == expected.value;
}

bool meets(const EgressReport& report, std::string_view key, const IsNull& /*expected*/) {
  return reportIsNull(report, key);
}

bool meets(const EgressReport& report, std::string_view key, const HasRows& expected) {
  const std::vector<ReportRow>* const rows = reportRows(report, key);
  return rows != nullptr && rows->size() == expected.count;
}

template <typename Condition>
void makeCheck(CheckRecorder& recorder, const EgressReport& report, const ReportCheck& check,
               const Condition& expected) {
  recordCheck(recorder, meets(report, check.key, expected), check.label);
}

void makeCheck(CheckRecorder& recorder, const EgressReport& report, const ReportCheck& check,
               const IsWord& expected) {
  checkEqual(recorder, reportString(report, check.key), expected.word, check.label);
}

}  // namespace

void checkReport(CheckRecorder& recorder, const EgressReport& report, const ReportCheck& check) {
  std::visit([&](const auto& expected) { makeCheck(recorder, report, check, expected); },
             check.expected);
}

}  // namespace egress
