#include "egress/config/classify_endpoint.h"

#include "egress/config/protocols.h"

namespace egress {
namespace {

ActiveEndpointStatus classifyTransport(const Outbound& leaf) noexcept {
  using enum ActiveEndpointStatus;
  if (!leaf.hasTransport) return OK;
  const TransportType type = transportTypeOf(leaf.transportType);
  if (type == TransportType::None || type == TransportType::Supported) return OK;
  return type == TransportType::Unsupported ? TRANSPORT_UNSUPPORTED : TRANSPORT_UNKNOWN;
}

}  // namespace

ActiveEndpointStatus classifyEndpoint(const Outbound& leaf, NumericAddress& address,
                                      std::uint32_t& port) noexcept {
  using enum ActiveEndpointStatus;
  const OutboundType type = outboundTypeOf(leaf.type);
  if (type == OutboundType::NoEndpoint) return LEAF_HAS_NO_REMOTE_ENDPOINT;
  if (!leaf.hasServer || leaf.server.empty() || !leaf.portSpecified) return ENDPOINT_MISSING;
  // Must precede the singleton rule: a range alone leaves `ports` empty.
  if (leaf.portMalformed || leaf.ports.empty()) return ENDPOINT_INVALID;
  const NumericAddress server = parseNumericAddress(leaf.server);
  if (!server.valid) return ENDPOINT_NOT_NUMERIC;
  if (leaf.portHopping || leaf.ports.size() != 1) return ENDPOINT_NOT_SINGLETON;
  if (type == OutboundType::Unsupported) return TRANSPORT_UNSUPPORTED;
  if (type != OutboundType::Supported) return TRANSPORT_UNKNOWN;
  const ActiveEndpointStatus transport = classifyTransport(leaf);
  if (transport != OK) return transport;

  address = server;
  port = leaf.ports.front();
  return OK;
}

}  // namespace egress
