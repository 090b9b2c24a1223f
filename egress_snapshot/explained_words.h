#ifndef EGRESS_SNAPSHOT_EXPLAINED_WORDS_H
#define EGRESS_SNAPSHOT_EXPLAINED_WORDS_H

#include "egress/core/status_words.h"
#include "egress_snapshot/explanations.h"

namespace egress::snapshot {

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

// Of the report's "selectorHintStale", which is no status.
[[nodiscard]] Explanation explainSelectorHintStale(bool isStale);

}  // namespace egress::snapshot

#endif
