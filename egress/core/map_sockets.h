#ifndef EGRESS_CORE_MAP_SOCKETS_H
#define EGRESS_CORE_MAP_SOCKETS_H

#include <cstdint>
#include <optional>
#include <vector>

#include "egress/core/diagnosis.h"
#include "egress/core/diagnosis_input.h"
#include "egress/core/interface_mapping.h"

namespace egress {

// A summary of the matching sockets, those whose remote end is the endpoint.
struct MatchSummary {
  bool anySocket = false;
  bool anyUnmapped = false;
  bool anyAmbiguous = false;
  bool severalInterfaces = false;
  std::optional<std::int64_t> ordinal;  // of the first interface
};

// Adds one more matching socket by the interface that owns its source address.
void addMatch(MatchSummary& matches, const InterfaceMapping& source) noexcept;

// The interfaces that the sockets of a snapshot leave through.
struct MappedSockets {
  std::vector<std::uint8_t> observed;  // by ordinal - 1: 1 if a socket leaves there, to any remote
  MatchSummary matches;
};

// Uses every row, even of a failed snapshot. A socket matches if its remote port equals the
// endpoint's and its remote address equals the endpoint's by value. Both tables are of one adapter
// snapshot; an ordinal that is not in `ordinalTable` is not observed. Throws only when memory runs
// out.
[[nodiscard]] MappedSockets mapSockets(const SocketSnapshot& sockets,
                                       const ActiveEndpoint& endpoint,
                                       const AddressTable& addressTable,
                                       const OrdinalTable& ordinalTable);

}  // namespace egress

#endif
