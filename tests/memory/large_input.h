#ifndef EGRESS_TESTS_MEMORY_HEFTY_INPUT_H
#define EGRESS_TESTS_MEMORY_HEFTY_INPUT_H

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "egress/core/diagnosis_input.h"

namespace egress::test {

// The tag of a node: longer than a string can hold inside itself, as are all texts made here that
// may be of any length.
std::string nodeTag(std::size_t number);

// A configuration of a selector "proxy" and `nodes` nodes, the first of which dials through the
// second. `extra` is the JSON text of a member that no reader knows, one in each node.
std::string heftyConfig(std::size_t nodes, std::string_view extra);

// A host with that configuration, whose selector answers with the first node, and with `rows`
// adapters, routes and sockets each. Some adapters share an index, and all sockets go to the
// endpoint through one of them. Up to 9999 rows.
DiagnosisInput heftyInput(std::size_t nodes, std::size_t rows);

// Equal in every field.
bool sameOutbounds(const std::vector<Outbound>& a, const std::vector<Outbound>& b);
bool sameInput(const DiagnosisInput& a, const DiagnosisInput& b);

}  // namespace egress::test

#endif
