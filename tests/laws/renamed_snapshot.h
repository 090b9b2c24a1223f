#ifndef EGRESS_TESTS_LAWS_RENAMED_SNAPSHOT_H
#define EGRESS_TESTS_LAWS_RENAMED_SNAPSHOT_H

#include <set>
#include <string>

#include "egress_snapshot/host_snapshot.h"
#include "tests/laws/choices.h"

namespace egress::test {

// What an anonymized record may keep of an address: its family and its kind of network, "text" if
// it is not numeric, nothing if it is empty.
std::string networkOf(const std::string& address);

// A record with other private data: addresses, tags, names, unknown types, indexes, processes,
// users, local ports, origin and reasons. Equal values are replaced by equal ones, addresses within
// their networks, indexes in their order. No replacement is one that anonymizing could give.
// Outbounds and answers are added that no walk uses.
struct RenamedSnapshot {
  snapshot::HostSnapshot record;
  std::set<std::string> secrets;  // the replacements, of an address also its shortest text
};
RenamedSnapshot renamed(snapshot::HostSnapshot record, Choices& choices);

}  // namespace egress::test

#endif
