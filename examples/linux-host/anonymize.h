#ifndef EGRESS_EXAMPLES_LINUX_HOST_ANONYMIZE_H
#define EGRESS_EXAMPLES_LINUX_HOST_ANONYMIZE_H

#include "egress/core/diagnosis_input.h"

namespace linux_host {

// Returns an input without private data that gives the same report. It replaces:
// - each address by a documentation address of its family (RFC 5737, RFC 3849), and equal addresses
//   by equal ones;
// - each host name, or other text in place of an address, by a name below "example" (RFC 2606);
// - each tag except "proxy", the start of the walk to the endpoint, by "tag-N";
// - interface indexes by their ranks;
// - types that the library does not know by "other".
// Ports, metrics, states and the number of rows are kept.
//
// There are 768 IPv4 documentation addresses. If the input has more, those that the report does not
// depend on share two. Throws CannotRun if that is not enough.
[[nodiscard]] egress::DiagnosisInput anonymized(const egress::DiagnosisInput& input);

}  // namespace linux_host

#endif
