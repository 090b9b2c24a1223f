#ifndef EGRESS_SNAPSHOT_SNAPSHOT_FROM_TEXTS_H
#define EGRESS_SNAPSHOT_SNAPSHOT_FROM_TEXTS_H

#include <string_view>

#include "egress_snapshot/export.h"
#include "egress_snapshot/host_snapshot.h"
#include "egress_snapshot/refusal.h"

namespace egress::snapshot {

// A record of the engine's configuration, blanked as by blankNonJson and read as by
// readProxyConfig, and of its answers, read as by selectorAnswersFromJson; without answers, their
// text is empty. The lists of the host have failed, with the reason that nobody took them.
//
// Refuses the answers that selectorAnswersFromJson refuses. Throws only when memory runs out.
[[nodiscard]] EGRESS_SNAPSHOT_EXPORT Result<HostSnapshot> snapshotFromTexts(
    std::string_view configText, std::string_view answersText);

}  // namespace egress::snapshot

#endif
