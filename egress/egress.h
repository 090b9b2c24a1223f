#ifndef EGRESS_EGRESS_H
#define EGRESS_EGRESS_H

// The whole public library.

#include "egress/config/classify_endpoint.h"
#include "egress/config/numeric_address.h"
#include "egress/config/proxy_config.h"
#include "egress/config/resolve_active_outbound.h"
#include "egress/config/selector_answer.h"
#include "egress/core/diagnose_egress.h"
#include "egress/core/diagnosis_input.h"
#include "egress/core/egress_report.h"
#include "egress/core/interface_mapping.h"
#include "egress/core/select_interface.h"
#include "egress/core/socket_sources.h"
#include "egress/core/status_words.h"
#include "egress/json/decimal_integer.h"
#include "egress/json/json_reader.h"
#include "egress/json/json_value.h"

#endif
