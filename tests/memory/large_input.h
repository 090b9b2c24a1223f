#ifndef EGRESS_TESTS_MEMORY_LARGE_INPUT_H
#define EGRESS_TESTS_MEMORY_LARGE_INPUT_H

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "egress/core/diagnosis_input.h"

namespace egress::test {

// The tag of a node. Like all free-form texts here, it is too long for the small-string buffer and
// must be allocated.
std::string nodeTag(std::size_t number);

// A configuration with a selector "proxy" and `nodes` nodes. The first node has the second as its
// detour. `extra` is the JSON value of an unknown member of each node.
std::string largeConfig(std::size_t nodes, std::string_view extra);

// A host with that configuration, whose selector answers with the first node, and with `rows` (up
// to 9999) adapters, routes and sockets each. Some adapters share an index. All sockets connect to
// the endpoint through the same adapter.
DiagnosisInput largeInput(std::size_t nodes, std::size_t rows);

}  // namespace egress::test

#endif
