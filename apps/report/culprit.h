#ifndef EGRESS_REPORT_CULPRIT_H
#define EGRESS_REPORT_CULPRIT_H

#include <string>
#include <string_view>

#include "apps/report/finding.h"

namespace egress::report {

// Why an interface cannot be named, and one thing to do about it; both readable sentences without
// the full stop. `todo` is empty if there is nothing to do.
struct Culprit {
  std::string what;
  std::string todo;
};

// The first obstacle on the way from the configuration to the endpoint. The diagnosis has no
// endpoint.
[[nodiscard]] Culprit endpointCulprit(const Finding& finding);

// Where a list failed that the answer needs. The diagnosis has an endpoint.
[[nodiscard]] Culprit listCulprit(const Finding& finding);

// Whether the list of sockets failed for lack of permission; the other lists need none.
[[nodiscard]] bool isForLackOfPermission(std::string_view failureReason);

// Where the text of a configuration breaks off, for example "line 3, column 7: a comma or the
// closing bracket is missing"; empty if it is JSON.
[[nodiscard]] std::string faultOf(std::string_view configText);

}  // namespace egress::report

#endif
