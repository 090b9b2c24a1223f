#include "egress_snapshot/same_report.h"

#include <gtest/gtest.h>

#include "tests/egress_snapshot/expect_refused.h"
#include "tests/egress_snapshot/selected_snapshot.h"
#include "tests/support/snapshot_equality.h"

namespace egress::snapshot {
namespace {

TEST(IfSameReport, ReturnsTheChangedRecord) {
  HostSnapshot changed = selectedSnapshot();
  changed.origin.program = "another";
  changed.sockets.rows.front().localPort = 1;
  const Result<HostSnapshot> result = ifSameReport(selectedSnapshot(), changed);
  EXPECT_EQ(std::get<HostSnapshot>(result), changed);
}

TEST(IfSameReport, RefusesAChangeOfTheReport) {
  constexpr std::string_view kReason = "the report would change";
  HostSnapshot changed = selectedSnapshot();
  changed.sockets.rows.front().remotePort = 1;  // no socket to the endpoint is left
  expectRefused(ifSameReport(selectedSnapshot(), changed), "", kReason);
  expectRefused(ifSameReport(changed, selectedSnapshot()), "", kReason);

  changed = selectedSnapshot();
  changed.adapters.rows.back().interfaceMetric += 1;
  expectRefused(ifSameReport(selectedSnapshot(), changed), "", kReason);

  // Two addresses that become one.
  changed = selectedSnapshot();
  changed.adapters.rows[1].addresses.front() = changed.adapters.rows[0].addresses.front();
  expectRefused(ifSameReport(selectedSnapshot(), changed), "", kReason);
}

}  // namespace
}  // namespace egress::snapshot
