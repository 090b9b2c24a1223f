#ifndef EGRESS_TESTS_LAWS_JSON_TREES_H
#define EGRESS_TESTS_LAWS_JSON_TREES_H

#include <string>

#include "egress/json/json_value.h"

namespace egress::test {

// Whether two trees are equal in every field, order and repeated members included.
bool sameTree(const JsonValue& a, const JsonValue& b);

// Whether a value and all below it hold only what their kinds name, and findMember gives the first
// member of each key.
bool isSound(const JsonValue& value);

// The tree as strict JSON, but for bytes of its strings that are no UTF-8. Every number whose value
// is not kept is written as 1.5.
std::string writtenDown(const JsonValue& value);

}  // namespace egress::test

#endif
