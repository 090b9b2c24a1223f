#ifndef EGRESS_SNAPSHOT_SNAPSHOT_JSON_H
#define EGRESS_SNAPSHOT_SNAPSHOT_JSON_H

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include "egress_snapshot/export.h"
#include "egress_snapshot/host_snapshot.h"
#include "egress_snapshot/refusal.h"

namespace egress::snapshot {

// A saved record is a JSON object (RFC 8259). Its first members are "format" and "version"; the
// others are named like the fields of HostSnapshot, and so on inside. docs/snapshot.schema.json is
// its schema. Enumerators are written as their names, absent facts are left out. A text that is not
// UTF-8 is written as {"base64": "..."} (RFC 4648, section 4). A value outside an enumeration is
// written as toString of egress does, or as the last of the words in host_snapshot.h.
inline constexpr std::string_view kSnapshotFormat = "egress-snapshot";
inline constexpr std::uint32_t kSnapshotVersion = 1;

// Receives a text in parts, in order.
using TextSink = std::function<void(std::string_view)>;

// Writes the record as indented JSON without a trailing newline. A part has at most some KiB, or is
// one longer text of the record. Throws when memory runs out, and what the sink throws.
EGRESS_SNAPSHOT_EXPORT void writeSnapshot(const HostSnapshot& snapshot, const TextSink& sink);

// The text that writeSnapshot writes. Throws only when memory runs out.
[[nodiscard]] EGRESS_SNAPSHOT_EXPORT std::string snapshotToJson(const HostSnapshot& snapshot);

// Reads a saved record. A member that is left out has the default of its field, and unknown members
// are ignored; of a repeated member, the last is read. Refuses text that is not JSON or is nested
// deeper than kMaxJsonDepth, another format or a newer version, and any value that its field cannot
// hold. Throws only when memory runs out.
[[nodiscard]] EGRESS_SNAPSHOT_EXPORT Result<HostSnapshot> snapshotFromJson(std::string_view text);

}  // namespace egress::snapshot

#endif
