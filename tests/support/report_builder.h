#ifndef EGRESS_TESTS_SUPPORT_REPORT_BUILDER_H
#define EGRESS_TESTS_SUPPORT_REPORT_BUILDER_H

#include <string>
#include <string_view>
#include <utility>

#include "egress/core/egress_report.h"

namespace egress::test {

inline void insertMember(EgressReport& report, std::string_view key, ReportValue value) {
  report.members.push_back({.key = std::string(key), .value = std::move(value)});
}

}  // namespace egress::test

#endif
