#ifndef EGRESS_CONFIG_PROXY_CONFIG_H
#define EGRESS_CONFIG_PROXY_CONFIG_H

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "egress/core/status_words.h"
#include "egress/export.h"

namespace egress {

// One entry of the configuration's "outbounds". A string is empty if its key is absent or does not
// hold a string.
struct Outbound {
  std::string tag;
  std::string type;
  std::string detour;                // tag of the outbound that this one dials through
  bool hasServer = false;            // "server" is a non-empty string
  std::string server;                // an address or a host name, as written
  bool portSpecified = false;        // "server_port" or "server_ports" is present
  bool portMalformed = false;        // one of them, or an entry of "server_ports", is unusable
  bool portHopping = false;          // "server_ports" holds a range, or more than one entry
  std::vector<std::uint32_t> ports;  // the single ports, 1 to 65535, "server_port" first
  bool hasTransport = false;         // "transport" is present
  std::string transportType;         // "type" inside "transport"
};

struct ProxyConfig {
  ConfigStatus configStatus = ConfigStatus::NO_CONFIG;
  bool autoDetectInterface = false;  // meaningful only if configStatus is OK
  std::vector<Outbound> outbounds;   // in configuration order; empty unless configStatus is OK
};

// Reads the proxy engine's configuration, JSON text in the engine's own format. `hasText` is false
// if there is no configuration at all. Ignores unknown keys and uses the first of repeated ones. A
// defect in one outbound affects no other. Throws only when memory runs out.
[[nodiscard]] EGRESS_EXPORT ProxyConfig readProxyConfig(std::string_view text, bool hasText);

}  // namespace egress

#endif
