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
// egress::readSelectorAnswer reads its text. Refuses a text that is not strict JSON or not an
// object. Throws only when memory runs out.
[[nodiscard]] EGRESS_SNAPSHOT_EXPORT Result<std::vector<SelectorAnswer>> selectorAnswersFromJson(
    std::string_view text);

}  // namespace egress::snapshot

#endif
