#include "egress/selfcheck/report_readers.h"

#include <algorithm>

namespace egress {
namespace {

const ReportScalar* findInRow(const ReportRow& row, std::string_view key,
                              ReportKind kind) noexcept {
  const auto found = std::ranges::find_if(
      row, [&](const auto& member) { return member.first == key && member.second.kind == kind; });
  return found == row.end() ? nullptr : &found->second;
}

std::string textOf(const ReportScalar* scalar) {
  const bool isText = scalar != nullptr && scalar->kind == ReportKind::String;
  return isText ? scalar->stringValue : std::string(kMissingText);
}

std::int64_t integerOf(const ReportScalar* scalar) noexcept {
  const bool isInteger = scalar != nullptr && scalar->kind == ReportKind::Integer;
  return isInteger ? scalar->intValue : kMissingInteger;
}

}  // namespace

const ReportScalar* findReportScalar(const EgressReport& report, std::string_view key) noexcept {
  const ReportMember* const member = findReportMember(report, key);
  return member == nullptr ? nullptr : std::get_if<ReportScalar>(&member->value);
}

std::string reportString(const EgressReport& report, std::string_view key) {
  return textOf(findReportScalar(report, key));
}

std::int64_t reportInteger(const EgressReport& report, std::string_view key) noexcept {
  return integerOf(findReportScalar(report, key));
}

bool reportIsNull(const EgressReport& report, std::string_view key) noexcept {
  const ReportScalar* const scalar = findReportScalar(report, key);
  return scalar != nullptr && scalar->kind == ReportKind::Null;
}

const std::vector<ReportRow>* reportRows(const EgressReport& report,
                                         std::string_view key) noexcept {
  const ReportMember* const member = findReportMember(report, key);
  return member == nullptr ? nullptr : std::get_if<std::vector<ReportRow>>(&member->value);
}

std::string rowString(const ReportRow& row, std::string_view key) {
  return textOf(findInRow(row, key, ReportKind::String));
}

std::int64_t rowInteger(const ReportRow& row, std::string_view key) noexcept {
  return integerOf(findInRow(row, key, ReportKind::Integer));
}

}  // namespace egress
