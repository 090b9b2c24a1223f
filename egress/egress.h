#ifndef EGRESS_EGRESS_H
#define EGRESS_EGRESS_H

// The whole public library, in reading order, so it is not sorted. What one diagnosis needs comes
// first.
// clang-format off

#include "egress/config/proxy_config.h"     // reading the engine's configuration
#include "egress/config/selector_answer.h"  // reading the answer of a selector
#include "egress/core/diagnosis_input.h"    // everything that one diagnosis looks at
#include "egress/core/diagnose_egress.h"    // diagnosing
#include "egress/core/diagnosis.h"          // what was decided, typed
#include "egress/core/egress_report.h"      // the same as a report of keys and values

#include "egress/core/status_words.h"  // the closed vocabularies
#include "egress/core/report_table.h"  // keys, kinds and vocabularies of the report
#include "egress/core/write_report.h"  // the report of a diagnosis that was made before

#include "egress/json/json_fault.h"        // where a JSON text breaks off
#include "egress/config/config_defects.h"  // what of a configuration cannot be used
#include "egress/config/protocols.h"       // which types and transports are known
#include "egress/config/numeric_address.h"

#include "egress/export.h"
#include "egress/json/json_kind.h"
#include "egress/version.h"
// clang-format on

#endif
