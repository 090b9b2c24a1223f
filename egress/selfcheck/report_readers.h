#ifndef EGRESS_SELFCHECK_REPORT_READERS_H
#define EGRESS_SELFCHECK_REPORT_READERS_H

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "egress/core/egress_report.h"

namespace egress {

// Readers that never fail: a value that is absent or of another kind reads as a text or number that
// no check expects.

inline constexpr std::string_view kMissingText = "<missing>";
inline constexpr std::int64_t kMissingInteger = -1;

// The value of the first member with this key, or nullptr if there is none or it holds rows.
[[nodiscard]] const ReportScalar* findReportScalar(const EgressReport& report,
                                                   std::string_view key) noexcept;

[[nodiscard]] std::string reportString(const EgressReport& report, std::string_view key);
[[nodiscard]] std::int64_t reportInteger(const EgressReport& report, std::string_view key) noexcept;
[[nodiscard]] bool reportIsNull(const EgressReport& report, std::string_view key) noexcept;

// The rows of the first member with this key, or nullptr if it is absent or not an array.
[[nodiscard]] const std::vector<ReportRow>* reportRows(const EgressReport& report,
                                                       std::string_view key) noexcept;

// The first value in the row with this key and of this kind; values of another kind are skipped.
[[nodiscard]] std::string rowString(const ReportRow& row, std::string_view key);
[[nodiscard]] std::int64_t rowInteger(const ReportRow& row, std::string_view key) noexcept;

}  // namespace egress

#endif
