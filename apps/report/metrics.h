#ifndef EGRESS_REPORT_METRICS_H
#define EGRESS_REPORT_METRICS_H

#include <cstdint>
#include <optional>
#include <string>

#include "apps/report/finding.h"
#include "apps/report/new_file.h"

namespace egress::report {

// When things happened, in seconds since 1970.
struct MetricTimes {
  std::int64_t run = 0;
  std::optional<std::int64_t> lastSuccess;  // the last run with Outcome::NAMED, this one included
};

// The metrics of one run in Prometheus' text format, version 0.0.4. Their number does not depend on
// the input: no tag, address or port is a label. Without a finding there was no process to look at.
[[nodiscard]] std::string metricsText(const Finding* finding, const MetricTimes& times);

// The file that has this path. Everybody may read it: the node exporter is another user.
[[nodiscard]] OutputFile metricsFile(const std::string& path);

// The times of a run that ends now. The last success before it is in the file that an earlier run
// has written; any other file has none.
[[nodiscard]] MetricTimes metricTimes(const std::string& path, const Finding* finding);

}  // namespace egress::report

#endif
