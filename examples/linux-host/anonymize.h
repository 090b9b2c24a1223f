#ifndef EGRESS_EXAMPLES_LINUX_HOST_ANONYMIZE_H
#define EGRESS_EXAMPLES_LINUX_HOST_ANONYMIZE_H

#include "egress/core/diagnosis_input.h"

namespace linux_host {

// The same input for other eyes, with the same report:
// - each address is replaced by one of the documentation prefixes of its family (RFC 5737,
//   RFC 3849), equal ones by equal ones;
// - each host name, or text in an address's place, by a name below "example" (RFC 2606);
// - each tag but "proxy", from which the walk to the endpoint begins, by "tag-N";
// - interface indexes by their ranks;
// - types that the library does not know by "other".
// Ports, metrics, states and the number of rows stay. IPv4 has 768 such addresses. When an
// input holds more, those on which the report does not depend share two; throws CannotRun when that
// is not enough.
[[nodiscard]] egress::DiagnosisInput anonymized(const egress::DiagnosisInput& input);

}  // namespace linux_host

#endif
