#ifndef EGRESS_TESTS_LAWS_JSON_TREES_H
#define EGRESS_TESTS_LAWS_JSON_TREES_H

#include <string>

#include "egress/json/json_value.h"

namespace egress::test {

// Whether two trees are equal in every field, including order and repeated members.
bool sameTree(const JsonValue& a, const JsonValue& b);

// Whether a value and its descendants have only the fields of their kinds set, and findMember
// returns the first member of each key.
bool isWellFormed(const JsonValue& value);

// The tree as strict JSON, except for invalid UTF-8 in strings. Numbers without a value are written
// as 1.5.
std::string serialized(const JsonValue& value);

}  // namespace egress::test

#endif
