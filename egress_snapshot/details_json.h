#ifndef EGRESS_SNAPSHOT_DETAILS_JSON_H
#define EGRESS_SNAPSHOT_DETAILS_JSON_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "egress_snapshot/diagnose_snapshot.h"
#include "egress_snapshot/export.h"
#include "egress_snapshot/host_snapshot.h"
#include "egress_snapshot/json_layout.h"
#include "egress_snapshot/snapshot_json.h"

namespace egress::snapshot {

// A report with what is behind it: the way to the endpoint, the sockets to it with all their facts,
// and the interfaces by name. One JSON object (RFC 8259) for people and programs; it is not read
// back. docs/details.schema.json is its schema. Interfaces are identified by their ordinals in the
// report, never by the system's indexes. A text that is not UTF-8 is written as in a snapshot.
inline constexpr std::string_view kDetailsFormat = "egress-details";
inline constexpr std::uint32_t kDetailsVersion = 1;

// Writes the details as JSON without a trailing newline, in parts as writeSnapshot does.
// The findings, at least one, must be those of the record, with cross-checks; the report is that of
// the first one. What they name and the record does not have is left out. Throws when memory runs
// out, and what the sink throws. `file`, the path of the record, is the member "file" if it is
// given: it tells apart the details of many records.
EGRESS_SNAPSHOT_EXPORT void writeDetails(const HostSnapshot& snapshot,
                                         const std::vector<AddressFinding>& findings,
                                         const TextSink& sink,
                                         JsonLayout layout = JsonLayout::INDENTED,
                                         const std::optional<std::string>& file = std::nullopt);

// The text that writeDetails writes. Throws only when memory runs out.
[[nodiscard]] EGRESS_SNAPSHOT_EXPORT std::string detailsToJson(
    const HostSnapshot& snapshot, const std::vector<AddressFinding>& findings,
    JsonLayout layout = JsonLayout::INDENTED,
    const std::optional<std::string>& file = std::nullopt);

}  // namespace egress::snapshot

#endif
