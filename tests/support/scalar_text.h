#ifndef EGRESS_TESTS_SUPPORT_SCALAR_TEXT_H
#define EGRESS_TESTS_SUPPORT_SCALAR_TEXT_H

#include <string>

#include "egress/core/egress_report.h"

namespace egress::test {

// A value of a report as a test shows and compares it; only strings stand in quotes.
inline std::string textOf(const ReportScalar& scalar) {
  switch (scalar.kind) {
    case ReportKind::Null: return "null";
    case ReportKind::Boolean: return scalar.boolValue ? "true" : "false";
    case ReportKind::Integer: return std::to_string(scalar.intValue);
    case ReportKind::String: break;
  }
  return '"' + scalar.stringValue + '"';
}

}  // namespace egress::test

#endif
