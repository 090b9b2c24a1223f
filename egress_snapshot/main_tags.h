#ifndef EGRESS_SNAPSHOT_MAIN_TAGS_H
#define EGRESS_SNAPSHOT_MAIN_TAGS_H

#include <string>
#include <string_view>
#include <vector>

#include "egress_snapshot/export.h"

namespace egress::snapshot {

// The tags of a configuration's outbounds to which no other outbound leads, neither as its detour
// nor as one of the choices of a selector ("outbounds"): each could be meant as the main one. In
// configuration order, each once. None if the text is not strict JSON. Throws only when memory runs
// out.
[[nodiscard]] EGRESS_SNAPSHOT_EXPORT std::vector<std::string> possibleMainTags(
    std::string_view configText);

}  // namespace egress::snapshot

#endif
