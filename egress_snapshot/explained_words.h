#ifndef EGRESS_SNAPSHOT_EXPLAINED_WORDS_H
#define EGRESS_SNAPSHOT_EXPLAINED_WORDS_H

#include "egress/core/status_words.h"
#include "egress_snapshot/cross_check.h"
#include "egress_snapshot/explanations.h"

namespace egress::snapshot {

// For smallest inputs: a configuration whose endpoint is known, 198.51.100.10, port 443.
inline constexpr const char* kEndpointKnown = R"({
  "route": {"auto_detect_interface": true},
  "outbounds": [{"tag": "proxy", "type": "shadowsocks",
                 "server": "198.51.100.10", "server_port": 443}]
})";

// The explanation of each enumerator; an enumerator without one does not compile. A value outside
// the enumeration has that of the last word. docs/status-words.md is generated from them.
[[nodiscard]] Explanation explanationOf(ConfigStatus status);
[[nodiscard]] Explanation explanationOf(EgressSelectionPolicy policy);
[[nodiscard]] Explanation explanationOf(ActiveEndpointStatus status);
[[nodiscard]] Explanation explanationOf(SelectionStatus status);
[[nodiscard]] Explanation explanationOf(InterfacesStatus status);
[[nodiscard]] Explanation explanationOf(DefaultRoutesStatus status);
[[nodiscard]] Explanation explanationOf(InterfaceOrdinalStatus status);
[[nodiscard]] Explanation explanationOf(SocketSourcesStatus status);
[[nodiscard]] Explanation explanationOf(CrossCheckStatus status);

// Of the report's "selectorHintStale", which is no status.
[[nodiscard]] Explanation explainSelectorHintStale(bool isStale);

}  // namespace egress::snapshot

#endif
