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

// One value of a report. Only the member that the kind names means something; the others stay zero
// or empty.
struct ReportScalar {
  ReportKind kind = ReportKind::Null;
  bool boolValue = false;
  std::int64_t intValue = 0;
  std::string stringValue;

  friend bool operator==(const ReportScalar&, const ReportScalar&) = default;
};

// One row of an array: keys with their values, in order.
using ReportRow = std::vector<std::pair<std::string, ReportScalar>>;

// One member of a report: a value, or an array of rows.
struct ReportMember {
  std::string key;
  std::variant<ReportScalar, std::vector<ReportRow>> value;

  friend bool operator==(const ReportMember&, const ReportMember&) = default;
};

// The report of one diagnosis, shaped like a JSON object: a host that wants JSON text writes the
// members, and the pairs of each row, in the order in which they stand.
struct EgressReport {
  std::vector<ReportMember> members;

  friend bool operator==(const EgressReport&, const EgressReport&) = default;
};

[[nodiscard]] EGRESS_EXPORT ReportScalar nullScalar();
[[nodiscard]] EGRESS_EXPORT ReportScalar booleanScalar(bool value);
[[nodiscard]] EGRESS_EXPORT ReportScalar integerScalar(std::int64_t value);
[[nodiscard]] EGRESS_EXPORT ReportScalar stringScalar(std::string_view value);

// Appends a member; a key that is there already is neither replaced nor looked for.
EGRESS_EXPORT void insertMember(EgressReport& report, std::string_view key, ReportScalar value);
EGRESS_EXPORT void insertMember(EgressReport& report, std::string_view key,
                                std::vector<ReportRow> rows);

// The first member with exactly this key, or nullptr. Lives until the report changes.
[[nodiscard]] EGRESS_EXPORT const ReportMember* findReportMember(const EgressReport& report,
                                                                 std::string_view key) noexcept;

}  // namespace egress

#endif
