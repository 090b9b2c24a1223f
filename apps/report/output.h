#ifndef EGRESS_REPORT_OUTPUT_H
#define EGRESS_REPORT_OUTPUT_H

#include <string>

#include "apps/report/finding.h"
#include "apps/report/options.h"

namespace egress::report {

// What standard output gets, in the form that the options choose.
[[nodiscard]] std::string outputText(const Options& options, const Finding& finding);

// Prints on standard error what the text for people says beside the report and a report for
// programs does not: lists and facts that are missing, and what was done to the input.
void printNotes(const Options& options, const Finding& finding);

}  // namespace egress::report

#endif
