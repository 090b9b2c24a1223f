#ifndef EGRESS_TESTS_LAWS_ANONYMIZE_LAWS_H
#define EGRESS_TESTS_LAWS_ANONYMIZE_LAWS_H

#include "egress_snapshot/host_snapshot.h"
#include "tests/laws/choices.h"
#include "tests/laws/violation.h"

namespace egress::test {

// An anonymized record gives the same report, and stays the same when it is anonymized again.
// Replacements are equal where the originals are; an address stays in its network, indexes keep
// their order, the outbounds and answers that the naive core uses stay, and all else is kept or
// dropped as documented.
Violation checkAnonymized(const snapshot::HostSnapshot& record);

// A record and the same record with other private data, and with more outbounds and answers that no
// walk uses, become the same record, and its bytes contain none of the private data.
Violation checkPrivacy(const snapshot::HostSnapshot& record, Choices& choices);

}  // namespace egress::test

#endif
