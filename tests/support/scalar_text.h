#ifndef EGRESS_TESTS_SUPPORT_SCALAR_TEXT_H
#define EGRESS_TESTS_SUPPORT_SCALAR_TEXT_H

#include <string>

#include "egress/core/egress_report.h"

namespace egress::test {

// Formats a report value as JSON does, but without escapes.
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
