#ifndef EGRESS_BENCH_PEERS_OUTBOUND_RULES_H
#define EGRESS_BENCH_PEERS_OUTBOUND_RULES_H

#include <cstdint>
#include <optional>
#include <string_view>

#include "egress/config/proxy_config.h"
#include "egress/json/decimal_integer.h"

// What the values of an outbound mean, whichever parser brings them.
namespace egress::bench {

inline ProxyConfig unusable(ConfigStatus status) {
  return {.configStatus = status, .autoDetectInterface = false, .outbounds = {}};
}

// A port, or nothing where there is no integer.
inline void addPort(std::optional<std::int64_t> port, Outbound& outbound) {
  if (port && *port >= 1 && *port <= 65535) {
    outbound.ports.push_back(static_cast<std::uint32_t>(*port));
  } else {
    outbound.portMalformed = true;
  }
}

// An entry of "server_ports", or nothing where there is no string.
inline void addPortEntry(std::optional<std::string_view> entry, Outbound& outbound) {
  if (entry && entry->find(':') != std::string_view::npos) {
    outbound.portHopping = true;
  } else {
    addPort(entry ? parseDecimalInteger(*entry) : std::nullopt, outbound);
  }
}

}  // namespace egress::bench

#endif
