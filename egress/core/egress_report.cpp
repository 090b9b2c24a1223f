#include "egress/core/egress_report.h"

#include <algorithm>

namespace egress {

const ReportMember* findReportMember(const EgressReport& report, std::string_view key) noexcept {
  const auto found = std::ranges::find(report.members, key, &ReportMember::key);
  return found == report.members.end() ? nullptr : &*found;
}

}  // namespace egress
