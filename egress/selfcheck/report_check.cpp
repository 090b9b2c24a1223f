#include "egress/selfcheck/report_check.h"

#include "egress/selfcheck/report_readers.h"

#include <string>

namespace egress {
namespace {

bool meets(const EgressReport& report, std::string_view key, const IsWord& expected) {
  return reportString(report, key) == expected.word;
}

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

}  // namespace

void checkReport(CheckRecorder& recorder, const EgressReport& report, const ReportCheck& check) {
  if (const auto* const expected = std::get_if<IsWord>(&check.expected)) {
    checkEqual(recorder, reportString(report, check.key), expected->word, check.label);
    return;
  }
  const bool met = std::visit(
      [&](const auto& expected) { return meets(report, check.key, expected); }, check.expected);
  recordCheck(recorder, met, check.label);
}

}  // namespace egress
