#ifndef EGRESS_TESTS_LAWS_GENERATED_SNAPSHOT_H
#define EGRESS_TESTS_LAWS_GENERATED_SNAPSHOT_H

#include <string>
#include <vector>

#include "egress_snapshot/host_snapshot.h"
#include "tests/laws/choices.h"

namespace egress::test {

// The record of a host: a generated input, and the fields that the input lacks. Now and then, a
// text is replaced by any bytes. As in a generated input, a word may be outside its enumeration,
// which only a caller can build.
snapshot::HostSnapshot generateSnapshot(Choices& choices);

// The same record with a known endpoint and most sockets connected to it, with facts that mostly
// name its adapters: few generated records have that by chance.
snapshot::HostSnapshot aimedAtEndpoint(snapshot::HostSnapshot record, Choices& choices);

// A JSON text, as written or with one or two defects: a byte changed, or a value replaced, added or
// removed.
std::string damaged(const std::string& text, Choices& choices);

}  // namespace egress::test

#endif
