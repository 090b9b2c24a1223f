#ifndef EGRESS_SELFCHECK_REPORT_CHECK_H
#define EGRESS_SELFCHECK_REPORT_CHECK_H

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <variant>

#include "egress/core/egress_report.h"
#include "egress/selfcheck/check_recorder.h"

namespace egress {

// What a check expects of a report's member. An absent member reads as kMissingText or
// kMissingInteger, which no check expects, and fails every other expectation.
struct IsWord {
  std::string_view word;
};
struct IsInteger {
  std::int64_t value = 0;
};
struct IsBoolean {
  bool value = false;
};
struct IsNull {};
struct HasRows {
  std::size_t count = 0;
};

using Expectation = std::variant<IsWord, IsInteger, IsBoolean, IsNull, HasRows>;

struct ReportCheck {
  std::string_view label;  // as it is printed
  std::string_view key;
  Expectation expected;
};

// Makes one check: an equality check for a word, otherwise a condition.
void checkReport(CheckRecorder& recorder, const EgressReport& report, const ReportCheck& check);

}  // namespace egress

#endif
