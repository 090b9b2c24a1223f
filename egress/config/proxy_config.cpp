#include "egress/config/proxy_config.h"

#include <optional>

#include "egress/config/port_values.h"
#include "egress/json/json_reader.h"
#include "egress/json/json_value.h"

namespace egress {
namespace {

// Copies a string member into `field`; without one, `field` stays empty.
void readString(const JsonValue& object, std::string_view key, std::string& field) {
  const JsonValue* const member = findMember(object, key);
  if (member != nullptr && member->kind == JsonKind::String) field = member->stringValue;
}

void addPort(std::optional<std::uint32_t> port, Outbound& outbound) {
  if (port) {
    outbound.ports.push_back(*port);
  } else {
    outbound.portMalformed = true;
  }
}

void readPortEntry(const JsonValue& value, Outbound& outbound) {
  const PortEntry entry = portEntryOf(value);
  if (entry.isRange) {
    outbound.portHopping = true;
  } else {
    addPort(entry.port, outbound);
  }
}

void readServerPorts(const JsonValue& ports, Outbound& outbound) {
  if (ports.kind != JsonKind::Array || ports.items.empty()) {
    outbound.portMalformed = true;
    return;
  }
  for (const JsonValue& entry : ports.items) readPortEntry(entry, outbound);
  if (ports.items.size() > 1) outbound.portHopping = true;
}

void readTransport(const JsonValue& transport, Outbound& outbound) {
  outbound.hasTransport = true;
  if (transport.kind == JsonKind::Object) readString(transport, "type", outbound.transportType);
}

void readOutbound(const JsonValue& object, Outbound& outbound) {
  readString(object, "tag", outbound.tag);
  readString(object, "type", outbound.type);
  readString(object, "detour", outbound.detour);
  readString(object, "server", outbound.server);
  outbound.hasServer = !outbound.server.empty();
  if (const JsonValue* const port = findMember(object, "server_port")) {
    outbound.portSpecified = true;
    addPort(serverPortOf(*port), outbound);
  }
  if (const JsonValue* const ports = findMember(object, "server_ports")) {
    outbound.portSpecified = true;
    readServerPorts(*ports, outbound);
  }
  if (const JsonValue* const transport = findMember(object, "transport")) {
    readTransport(*transport, outbound);
  }
}

std::vector<Outbound> readOutbounds(const JsonValue& root) {
  std::vector<Outbound> outbounds;
  const JsonValue* const list = findMember(root, "outbounds");
  if (list == nullptr || list->kind != JsonKind::Array) return outbounds;
  outbounds.reserve(list->items.size());
  for (const JsonValue& element : list->items) {
    if (element.kind == JsonKind::Object) readOutbound(element, outbounds.emplace_back());
  }
  return outbounds;
}

// A configuration that cannot be used has a status and nothing else.
ProxyConfig unusable(ConfigStatus status) {
  return {.configStatus = status, .autoDetectInterface = false, .outbounds = {}};
}

}  // namespace

ProxyConfig readProxyConfig(std::string_view text, bool hasText) {
  if (!hasText || text.empty()) return unusable(ConfigStatus::NO_CONFIG);

  JsonValue root;
  if (!parseJsonDocument(text, root)) return unusable(ConfigStatus::JSON_PARSE_FAILED);
  if (root.kind != JsonKind::Object) return unusable(ConfigStatus::JSON_PARSE_FAILED);

  const JsonValue* const route = findMember(root, "route");
  if (route == nullptr || route->kind != JsonKind::Object) {
    return unusable(ConfigStatus::AUTO_DETECT_MISSING);
  }
  const JsonValue* const autoDetect = findMember(*route, "auto_detect_interface");
  if (autoDetect == nullptr) return unusable(ConfigStatus::AUTO_DETECT_MISSING);
  if (autoDetect->kind != JsonKind::Bool) return unusable(ConfigStatus::AUTO_DETECT_INVALID);

  return {.configStatus = ConfigStatus::OK,
          .autoDetectInterface = autoDetect->boolValue,
          .outbounds = readOutbounds(root)};
}

}  // namespace egress
