#ifndef EGRESS_TESTS_LAWS_NAIVE_CROSS_CHECK_H
#define EGRESS_TESTS_LAWS_NAIVE_CROSS_CHECK_H

#include "egress_snapshot/cross_check.h"

namespace egress::test {

// A simple, slow second implementation of crossCheck: every look-up scans all rows. It shares only
// the records, the address parser and the sockets that count with the real one.
snapshot::CrossCheck naiveCrossCheck(const snapshot::HostSnapshot& record,
                                     const Diagnosis& diagnosis, snapshot::CountedSockets counted);

}  // namespace egress::test

#endif
