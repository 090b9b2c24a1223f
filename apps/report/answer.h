#ifndef EGRESS_REPORT_ANSWER_H
#define EGRESS_REPORT_ANSWER_H

#include <cstddef>
#include <string>

#include "apps/report/finding.h"

namespace egress::report {

// How text for people is laid out.
struct TextStyle {
  std::size_t width = 80;  // columns of a line, at least
  bool isColoured = false;
};

// The answer in one sentence, then what it rests on, then one thing to do if it is not the normal
// case. Equal sockets are one row with their number.
[[nodiscard]] std::string answerText(const Finding& finding, const TextStyle& style);

}  // namespace egress::report

#endif
