#ifndef EGRESS_SNAPSHOT_EXPLANATIONS_JSON_H
#define EGRESS_SNAPSHOT_EXPLANATIONS_JSON_H

#include <string>
#include <string_view>

#include "egress_snapshot/export.h"

namespace egress::snapshot {

// What a word means, under each key that has it, as a JSON array (RFC 8259) of objects, in the
// order of explainedKeys(). The members are the key and the question of ExplainedKey and the fields
// of Explanation, without empty texts of the smallest input. An unknown word gives an empty array.
// Throws only when memory runs out.
[[nodiscard]] EGRESS_SNAPSHOT_EXPORT std::string explanationsToJson(std::string_view word);

}  // namespace egress::snapshot

#endif
