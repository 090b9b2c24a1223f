#ifndef EGRESS_SNAPSHOT_SELECTOR_ANSWERS_JSON_H
#define EGRESS_SNAPSHOT_SELECTOR_ANSWERS_JSON_H

#include <string_view>
#include <vector>

#include "egress/config/selector_answer.h"
#include "egress_snapshot/export.h"
#include "egress_snapshot/refusal.h"

namespace egress::snapshot {

// Reads several answers at once: an object of selector tag and answer, for example
// {"proxy": {"now": "node_3"}, "auto": {"now": "node_4"}}. Each answer is read as
// egress::readSelectorAnswer reads its text, so that an answer that is not an object is Malformed.
// The result is sorted by tag. Of members with one key, the last one stays, here and in an answer.
//
// Refuses text that is not strict JSON, is nested deeper than kMaxJsonDepth or is not an object; a
// byte-order mark before it is ignored. Throws only when memory runs out.
[[nodiscard]] EGRESS_SNAPSHOT_EXPORT Result<std::vector<SelectorAnswer>> selectorAnswersFromJson(
    std::string_view text);

}  // namespace egress::snapshot

#endif
