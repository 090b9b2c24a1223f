#ifndef EGRESS_CONFIG_PORT_VALUES_H
#define EGRESS_CONFIG_PORT_VALUES_H

#include <cstdint>
#include <optional>

#include "egress/json/json_value.h"

namespace egress {

// The port that "server_port" holds, an integer from 1 to 65535, or nothing.
[[nodiscard]] std::optional<std::uint32_t> serverPortOf(const JsonValue& value) noexcept;

// One entry of "server_ports": a string with a single port such as "443", or a range such as
// "20000:40000". The bounds of a range do not matter, because any range means more than one port.
struct PortEntry {
  bool isRange = false;
  std::optional<std::uint32_t> port;  // neither a range nor a port: the entry is unusable
};

[[nodiscard]] PortEntry portEntryOf(const JsonValue& entry) noexcept;

}  // namespace egress

#endif
