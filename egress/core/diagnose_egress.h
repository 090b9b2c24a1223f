#ifndef EGRESS_CORE_DIAGNOSE_EGRESS_H
#define EGRESS_CORE_DIAGNOSE_EGRESS_H

#include "egress/core/diagnosis.h"
#include "egress/core/diagnosis_input.h"
#include "egress/core/write_report.h"
#include "egress/export.h"

namespace egress {

// Decides through which network interface the proxy engine's traffic to its active endpoint leaves,
// or why that cannot be told.
//
// Any input gives a diagnosis. A failed snapshot has no rows in it and leaves the others alone, but
// without adapters routes have no ordinals and sockets no interfaces. Makes no system call and
// keeps no state: any number of threads may call it at once, also with the same input. Throws only
// when memory runs out.
[[nodiscard]] EGRESS_EXPORT Diagnosis diagnose(const DiagnosisInput& diagnosisInput);

// The same as a report: writeReport(diagnose(diagnosisInput)).
[[nodiscard]] EGRESS_EXPORT EgressReport diagnoseEgress(const DiagnosisInput& diagnosisInput);

}  // namespace egress

#endif
