#ifndef EGRESS_EXAMPLES_LINUX_HOST_ANONYMIZE_H
#define EGRESS_EXAMPLES_LINUX_HOST_ANONYMIZE_H

#include "egress/core/diagnosis_input.h"

namespace linux_host {

// The same input for other eyes, with the same report:
// - each address is replaced by one of the documentation prefixes of its family (RFC 5737,
//   RFC 3849), equal ones by equal ones;
// - each host name, or text in an address's place, by a name below "example" (RFC 2606);
// - each tag but "proxy", from which the walk to the endpoint begins, by "tag-N";
// - interface indexes by their ranks.
// Ports, metrics, states, types and the number of rows stay. IPv4 has 768 such addresses; when an
// input holds more, the last ones share one, and the addresses that decide come first. Throws
// CannotRun when the report would change all the same.
[[nodiscard]] egress::DiagnosisInput anonymized(const egress::DiagnosisInput& input);

}  // namespace linux_host

#endif
