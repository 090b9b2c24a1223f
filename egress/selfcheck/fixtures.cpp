#include "egress/selfcheck/fixtures.h"

#include <utility>

namespace egress {

DiagnosisInput makeDefaultInput(bool autoDetectInterface) {
  DiagnosisInput input;
  setProxyConfig(input, makeDefaultProxyConfig(autoDetectInterface));
  input.adapters = makeDefaultAdapters();
  input.routes.rows = {{.family = 4, .interfaceIndex = 5, .routeMetric = 0},
                       {.family = 6, .interfaceIndex = 11, .routeMetric = 256}};
  return input;
}

DiagnosisInput makeInputWithOutbound(Outbound outbound) {
  DiagnosisInput input = makeDefaultInput(/*autoDetectInterface=*/true);
  input.outbounds.clear();
  input.outbounds.push_back(std::move(outbound));
  return input;
}

ProxyConfig makeDefaultProxyConfig(bool autoDetectInterface) {
  return {.configStatus = ConfigStatus::OK,
          .autoDetectInterface = autoDetectInterface,
          .outbounds = {makeOutbound("proxy", "shadowsocks", "198.51.100.10", 443)}};
}

AdapterSnapshot makeDefaultAdapters() {
  return {.enumFailed = false,
          .rows = {makeInterfaceRow(11, 1, 25, {"192.168.1.50"}),
                   makeInterfaceRow(5, 1, 5, {"10.0.0.7"})}};
}

Outbound makeOutbound(std::string_view tag, std::string_view type, std::string_view server,
                      std::int32_t port) {
  Outbound outbound;
  outbound.tag = tag;
  outbound.type = type;
  outbound.hasServer = !server.empty();
  outbound.server = server;
  outbound.portSpecified = port >= 1;
  if (outbound.portSpecified) outbound.ports.push_back(static_cast<std::uint32_t>(port));
  return outbound;
}

Outbound makeDetourOutbound(std::string_view tag, std::string_view detour) {
  Outbound outbound = makeOutbound(tag, "shadowsocks", "203.0.113.9", 8443);
  outbound.detour = detour;
  return outbound;
}

Outbound makeSelectorOutbound(std::string_view tag) {
  return makeOutbound(tag, "selector", "", 0);
}

SelectorAnswer makeSelectorAnswer(std::string_view selectorTag, SelectorAnswerStatus status,
                                  std::string_view now) {
  return {.selectorTag = std::string(selectorTag), .status = status, .now = std::string(now)};
}

SocketSource makeSocketSource(std::string_view localAddress, std::uint32_t localPort,
                              std::string_view remoteAddress, std::uint32_t remotePort) {
  return {.localAddress = std::string(localAddress),
          .localPort = localPort,
          .remoteAddress = std::string(remoteAddress),
          .remotePort = remotePort};
}

InterfaceRow makeInterfaceRow(std::uint32_t interfaceIndex, std::int32_t operStatus,
                              std::uint32_t interfaceMetric,
                              const std::vector<std::string>& addresses) {
  return {.interfaceIndex = interfaceIndex,
          .operStatus = operStatus,
          .interfaceMetric = interfaceMetric,
          .addresses = addresses};
}

}  // namespace egress
