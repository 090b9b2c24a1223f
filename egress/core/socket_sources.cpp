#include "egress/core/socket_sources.h"

#include <cstddef>
#include <string>

namespace egress {

void addEndpointSource(EndpointSources& sources, const InterfaceMapping& source) noexcept {
  sources.anySocket = true;
  switch (source.kind) {
    case MappingKind::Unique:
      if (sources.ordinal && *sources.ordinal != source.ordinal) sources.several = true;
      if (!sources.ordinal) sources.ordinal = source.ordinal;
      return;
    case MappingKind::Ambiguous: sources.anyAmbiguous = true; return;
    case MappingKind::Unmapped: break;  // also every value outside the enumeration
  }
  sources.anyUnmapped = true;
}

SocketSources findSocketSources(const SocketSnapshot& sockets, const ActiveEndpoint& endpoint,
                                const AddressTable& addressTable,
                                const OrdinalTable& ordinalTable) {
  SocketSources sources;
  sources.observed.resize(ordinalTable.interfaceIndexes.size());
  const std::string* endpointText = nullptr;  // how the last socket to the endpoint spells it
  for (const SocketSource& socket : sockets.rows) {
    const InterfaceMapping source = mapAddressToInterface(addressTable, socket.localAddress);
    const std::size_t place = static_cast<std::size_t>(source.ordinal) - 1;
    if (source.kind == MappingKind::Unique && place < sources.observed.size()) {
      sources.observed[place] = 1;
    }
    if (socket.remotePort != endpoint.port) continue;
    if (endpointText == nullptr || socket.remoteAddress != *endpointText) {
      const NumericAddress remote = parseNumericAddress(socket.remoteAddress);
      if (!sameNumericAddress(remote, endpoint.address)) continue;
      endpointText = &socket.remoteAddress;
    }
    addEndpointSource(sources.toEndpoint, source);
  }
  return sources;
}

}  // namespace egress
