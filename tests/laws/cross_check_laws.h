#ifndef EGRESS_TESTS_LAWS_CROSS_CHECK_LAWS_H
#define EGRESS_TESTS_LAWS_CROSS_CHECK_LAWS_H

#include "egress_snapshot/cross_check.h"
#include "tests/laws/choices.h"
#include "tests/laws/violation.h"

namespace egress::test {

// The cross-check of a record with its own diagnosis, with and without UDP sockets:
// - equals that of a second, simple implementation;
// - does not depend on the order of the adapters' and the sockets' rows;
// - names only interfaces that an adapter has and a fact of the socket names;
// - of the anonymized record is the same, with interfaces of the same ordinals.
Violation checkCrossCheck(const snapshot::HostSnapshot& record, Choices& choices);

}  // namespace egress::test

#endif
