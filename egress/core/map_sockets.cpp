#include "egress/core/map_sockets.h"

#include <cstddef>
#include <string>

namespace egress {

void addMatch(MatchSummary& matches, const InterfaceMapping& source) noexcept {
  matches.anySocket = true;
  switch (source.kind) {
    case MappingKind::Unique:
      if (matches.ordinal && *matches.ordinal != source.ordinal) matches.severalInterfaces = true;
      if (!matches.ordinal) matches.ordinal = source.ordinal;
      return;
    case MappingKind::Ambiguous: matches.anyAmbiguous = true; return;
    case MappingKind::Unmapped: break;  // also every value outside the enumeration
  }
  matches.anyUnmapped = true;
}

MappedSockets mapSockets(const SocketSnapshot& sockets, const ActiveEndpoint& endpoint,
                         const AddressTable& addressTable, const OrdinalTable& ordinalTable) {
  MappedSockets mapped;
  mapped.observed.resize(ordinalTable.interfaceIndexes.size());
  const std::string* endpointText = nullptr;  // the remote text of the last matching socket
  for (const SocketSource& socket : sockets.rows) {
    const InterfaceMapping source = mapAddressToInterface(addressTable, socket.localAddress);
    const std::size_t place = static_cast<std::size_t>(source.ordinal) - 1;
    if (source.kind == MappingKind::Unique && place < mapped.observed.size()) {
      mapped.observed[place] = 1;
    }
    if (socket.remotePort != endpoint.port) continue;
    if (endpointText == nullptr || socket.remoteAddress != *endpointText) {
      const NumericAddress remote = parseNumericAddress(socket.remoteAddress);
      if (!sameNumericAddress(remote, endpoint.address)) continue;
      endpointText = &socket.remoteAddress;
    }
    addMatch(mapped.matches, source);
  }
  return mapped;
}

}  // namespace egress
