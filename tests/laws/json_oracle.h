#ifndef EGRESS_TESTS_LAWS_JSON_ORACLE_H
#define EGRESS_TESTS_LAWS_JSON_ORACLE_H

#include <optional>
#include <string_view>

#include "egress/json/json_value.h"

// nlohmann/json as an oracle for the JSON reader.
namespace egress::test {

// Whether the reader must accept the text: nlohmann/json accepts it after all extensions of the
// reader are rewritten as strict JSON of the same structure, and no value is too deep.
bool oracleAccepts(std::string_view text);

// The tree of a strict JSON text of any depth; nothing for any other text.
std::optional<JsonValue> oracleTree(std::string_view text);

}  // namespace egress::test

#endif
