#include "egress/config/port_values.h"

#include <string>

#include "egress/json/decimal_integer.h"

namespace egress {
namespace {

constexpr std::int64_t kMaxPort = 65535;

std::optional<std::uint32_t> portOf(std::int64_t number) noexcept {
  if (number < 1 || number > kMaxPort) return std::nullopt;
  return static_cast<std::uint32_t>(number);
}

}  // namespace

std::optional<std::uint32_t> serverPortOf(const JsonValue& value) noexcept {
  if (value.kind != JsonKind::Integer) return std::nullopt;
  return portOf(value.intValue);
}

PortEntry portEntryOf(const JsonValue& entry) noexcept {
  if (entry.kind != JsonKind::String) return {};
  if (entry.stringValue.find(':') != std::string::npos) return {.isRange = true, .port = {}};
  const std::optional<std::int64_t> number = parseDecimalInteger(entry.stringValue);
  if (!number) return {};
  return {.isRange = false, .port = portOf(*number)};
}

}  // namespace egress
