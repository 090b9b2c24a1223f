#ifndef EGRESS_CORE_EGRESS_REPORT_H
#define EGRESS_CORE_EGRESS_REPORT_H

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "egress/export.h"

namespace egress {

enum class ReportKind : std::uint32_t { Null, Boolean, Integer, String };

// One value of a report. Only the field of its kind is meaningful; the others are zero or empty.
struct ReportScalar {
  ReportKind kind = ReportKind::Null;
  bool boolValue = false;
  std::int64_t intValue = 0;
  std::string stringValue;

  friend bool operator==(const ReportScalar&, const ReportScalar&) = default;
};

// One row of an array: keys with their values, in order.
using ReportRow = std::vector<std::pair<std::string, ReportScalar>>;

// A member's value: one scalar, or an array of rows.
using ReportValue = std::variant<ReportScalar, std::vector<ReportRow>>;

struct ReportMember {
  std::string key;
  ReportValue value;

  friend bool operator==(const ReportMember&, const ReportMember&) = default;
};

// The report of one diagnosis, shaped like a JSON object: a host that writes JSON text keeps the
// order of the members and of the pairs in each row.
struct EgressReport {
  std::vector<ReportMember> members;

  friend bool operator==(const EgressReport&, const EgressReport&) = default;
};

// The first member with exactly this key, or nullptr. Valid until the report changes.
[[nodiscard]] EGRESS_EXPORT const ReportMember* findReportMember(const EgressReport& report,
                                                                 std::string_view key) noexcept;

[[nodiscard]] inline ReportScalar nullScalar() {
  return {};
}

[[nodiscard]] inline ReportScalar booleanScalar(bool value) {
  ReportScalar scalar;
  scalar.kind = ReportKind::Boolean;
  scalar.boolValue = value;
  return scalar;
}

[[nodiscard]] inline ReportScalar integerScalar(std::int64_t value) {
  ReportScalar scalar;
  scalar.kind = ReportKind::Integer;
  scalar.intValue = value;
  return scalar;
}

[[nodiscard]] inline ReportScalar stringScalar(std::string_view value) {
  ReportScalar scalar;
  scalar.kind = ReportKind::String;
  scalar.stringValue = value;
  return scalar;
}

}  // namespace egress

#endif
