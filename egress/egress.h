#ifndef EGRESS_EGRESS_H
#define EGRESS_EGRESS_H

// The public library, in reading order: first what one diagnosis needs.
// clang-format off

#include "egress/config/proxy_config.h"     // reading the engine's configuration
#include "egress/config/selector_answer.h"  // reading a selector's answer
#include "egress/core/diagnosis_input.h"    // the input of a diagnosis
#include "egress/core/diagnose_egress.h"    // diagnosing
#include "egress/core/diagnosis.h"          // its result, typed
#include "egress/core/egress_report.h"      // its result as keys and values

#include "egress/core/status_words.h"  // the closed vocabularies
#include "egress/core/report_table.h"  // keys, kinds and vocabularies of the report
#include "egress/core/write_report.h"  // writing the report of a Diagnosis

#include "egress/json/json_fault.h"        // the position of a fault in a JSON text
#include "egress/config/config_defects.h"  // what the diagnosis cannot use in a configuration
#include "egress/config/protocols.h"       // which types and transports are known
#include "egress/config/numeric_address.h"

#include "egress/export.h"
#include "egress/json/json_kind.h"
#include "egress/version.h"
// clang-format on

#endif
