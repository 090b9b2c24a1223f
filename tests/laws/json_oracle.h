#ifndef EGRESS_TESTS_LAWS_JSON_ORACLE_H
#define EGRESS_TESTS_LAWS_JSON_ORACLE_H

#include <optional>
#include <string_view>

#include "egress/json/json_value.h"

// What nlohmann/json says of a text.
namespace egress::test {

// Whether the reader must accept the text: nlohmann/json does once every leniency of the reader is
// written in a strict way (which leaves the structure as it is), and no value lies too deep.
bool oracleAccepts(std::string_view text);

// The tree of a text that is strict JSON, or nothing for any other text; nesting does not matter.
std::optional<JsonValue> oracleTree(std::string_view text);

}  // namespace egress::test

#endif
