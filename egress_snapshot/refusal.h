#ifndef EGRESS_SNAPSHOT_REFUSAL_H
#define EGRESS_SNAPSHOT_REFUSAL_H

#include <string>
#include <variant>

#include "egress_snapshot/export.h"

namespace egress::snapshot {

// Why a text was not read.
struct Refusal {
  std::string place;   // a JSON pointer (RFC 6901), for example "/sockets/rows/3"; empty: the root
  std::string reason;  // one line of UTF-8, for example "70000000000 does not fit"
};

// "PLACE: REASON", or the reason alone if the place is the root. The place may contain keys of the
// text that was read, so escape it before it goes to a terminal.
[[nodiscard]] EGRESS_SNAPSHOT_EXPORT std::string toString(const Refusal& refusal);

// What was read, or why it was not.
template <typename Value>
using Result = std::variant<Value, Refusal>;

}  // namespace egress::snapshot

#endif
