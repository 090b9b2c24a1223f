#ifndef EGRESS_CORE_SOCKET_SOURCES_H
#define EGRESS_CORE_SOCKET_SOURCES_H

#include <cstdint>
#include <optional>
#include <vector>

#include "egress/config/numeric_address.h"
#include "egress/core/diagnosis_input.h"
#include "egress/core/interface_mapping.h"
#include "egress/core/status_words.h"
#include "egress/export.h"

namespace egress {

// The remote end that the proxy engine's traffic goes to.
struct ActiveEndpoint {
  ActiveEndpointStatus status = ActiveEndpointStatus::NOT_EVALUATED_CONFIG_UNAVAILABLE;
  NumericAddress address;  // set only when status is OK, like the port
  std::uint32_t port = 0;
};

// The sources of the sockets to the endpoint, all together.
struct EndpointSources {
  bool anySocket = false;
  bool anyUnmapped = false;
  bool anyAmbiguous = false;
  bool several = false;                 // more than one interface
  std::optional<std::int64_t> ordinal;  // of the first interface
};

// Adds the source of one more socket to the endpoint.
EGRESS_EXPORT void addEndpointSource(EndpointSources& sources,
                                     const InterfaceMapping& source) noexcept;

// Where the sockets of a snapshot leave from.
struct SocketSources {
  std::vector<std::uint8_t> observed;  // by ordinal - 1: 1 where a socket leaves, wherever it goes
  EndpointSources toEndpoint;
};

// Takes every row, whether the snapshot failed or not. A socket goes to the endpoint when its
// remote port is the same and its remote address is the same by value. The two tables are those of
// one adapter snapshot; an interface that `ordinalTable` does not reach to is not observed. Throws
// only when memory runs out.
[[nodiscard]] EGRESS_EXPORT SocketSources findSocketSources(const SocketSnapshot& sockets,
                                                            const ActiveEndpoint& endpoint,
                                                            const AddressTable& addressTable,
                                                            const OrdinalTable& ordinalTable);

}  // namespace egress

#endif
