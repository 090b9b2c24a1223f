#include "egress/core/egress_report.h"

#include <algorithm>

namespace egress {

ReportScalar nullScalar() {
  return {};
}

ReportScalar booleanScalar(bool value) {
  ReportScalar scalar;
  scalar.kind = ReportKind::Boolean;
  scalar.boolValue = value;
  return scalar;
}

ReportScalar integerScalar(std::int64_t value) {
  ReportScalar scalar;
  scalar.kind = ReportKind::Integer;
  scalar.intValue = value;
  return scalar;
}

ReportScalar stringScalar(std::string_view value) {
  ReportScalar scalar;
  scalar.kind = ReportKind::String;
  scalar.stringValue = value;
  return scalar;
}

void insertMember(EgressReport& report, std::string_view key, ReportScalar value) {
  report.members.push_back(ReportMember{.key = std::string(key), .value = std::move(value)});
}

void insertMember(EgressReport& report, std::string_view key, std::vector<ReportRow> rows) {
  report.members.push_back(ReportMember{.key = std::string(key), .value = std::move(rows)});
}

const ReportMember* findReportMember(const EgressReport& report, std::string_view key) noexcept {
  const auto found = std::ranges::find(report.members, key, &ReportMember::key);
  return found == report.members.end() ? nullptr : &*found;
}

}  // namespace egress
