#ifndef EGRESS_TESTS_LAWS_SAME_SNAPSHOT_H
#define EGRESS_TESTS_LAWS_SAME_SNAPSHOT_H

#include "egress_snapshot/host_snapshot.h"

namespace egress::test {

// Whether all fields are equal.
bool sameSnapshot(const snapshot::HostSnapshot& a, const snapshot::HostSnapshot& b);

}  // namespace egress::test

#endif
