#ifndef EGRESS_CORE_DIAGNOSE_EGRESS_H
#define EGRESS_CORE_DIAGNOSE_EGRESS_H

#include "egress/core/diagnosis_input.h"
#include "egress/core/egress_report.h"
#include "egress/export.h"

namespace egress {

// Says through which network interface the proxy engine's traffic to its active endpoint leaves, or
// why that cannot be told.
//
// The report's members, in this order:
//   "configStatus"                string
//   "autoDetectInterfaceEnabled"  boolean; only when "configStatus" is "OK"
//   "egressSelectionPolicy"       string
//   "activeEndpointStatus"        string
//   "selectorHintStale"           boolean: the hint names no outbound on the way to the endpoint
//   "selectedInterfaceOrdinal"    integer when "selectionStatus" is "OK", otherwise null
//   "selectionStatus"             string
//   "interfacesStatus"            string
//   "interfaces"                  rows of "ordinal", "operStatus", "interfaceMetric"; by ordinal
//   "defaultRoutesStatus"         string
//   "defaultRoutes"               rows of "family", "interfaceOrdinal" (null when unmapped),
//                                 "interfaceOrdinalStatus", "routeMetric"; in snapshot order
//   "socketSourcesStatus"         string
//   "observedSocketSources"       rows of "interfaceOrdinal"; ascending, each once
//
// Every string is a word of the key's vocabulary. A failed snapshot has no rows in the report and
// leaves those of the others alone; without adapters, though, routes have no ordinals and sockets
// no interfaces. Any input gives a report; throws only when memory runs out.
[[nodiscard]] EGRESS_EXPORT EgressReport diagnoseEgress(const DiagnosisInput& diagnosisInput);

}  // namespace egress

#endif
