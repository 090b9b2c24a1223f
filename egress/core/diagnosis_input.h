#ifndef EGRESS_CORE_DIAGNOSIS_INPUT_H
#define EGRESS_CORE_DIAGNOSIS_INPUT_H

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "egress/config/proxy_config.h"
#include "egress/config/selector_answer.h"
#include "egress/core/status_words.h"

namespace egress {

// One network adapter.
struct InterfaceRow {
  std::uint32_t interfaceIndex = 0;    // the system's own, never in a report; may repeat
  std::int32_t operStatus = 0;         // ifOperStatus of RFC 2863; 1 is up
  std::uint32_t interfaceMetric = 0;   // on systems that add it to the metrics of its routes
  std::vector<std::string> addresses;  // unicast, numeric text; any other text matches nothing
};

// One default route.
struct RouteRow {
  std::int32_t family = 0;  // 4 for IPv4, 6 for IPv6
  std::uint32_t interfaceIndex = 0;
  std::uint32_t routeMetric = 0;
};

// One connected socket of the proxy engine.
struct SocketSource {
  std::string localAddress;  // numeric text; any other text matches nothing
  std::uint32_t localPort = 0;
  std::string remoteAddress;  // numeric text; any other text matches nothing
  std::uint32_t remotePort = 0;
};

// Rows of one kind, taken at one moment, in any order.
template <typename Row>
struct Snapshot {
  bool enumFailed = false;  // the snapshot could not be taken; rows are ignored
  std::vector<Row> rows;
};

using AdapterSnapshot = Snapshot<InterfaceRow>;
using RouteSnapshot = Snapshot<RouteRow>;
using SocketSnapshot = Snapshot<SocketSource>;

// The input of one diagnosis. A fresh one is a host without a configuration.
struct DiagnosisInput {
  ConfigStatus configStatus = ConfigStatus::NO_CONFIG;
  bool autoDetectInterface = false;
  std::vector<Outbound> outbounds;
  AdapterSnapshot adapters;
  RouteSnapshot routes;
  SocketSnapshot sockets;
  std::vector<SelectorAnswer> selectorAnswers;  // of several for one selector, the first is used
  std::string selectorHint;  // tag of the selector choice last known to the host; empty: no hint
};

// Moves a configuration into its three members.
inline void setProxyConfig(DiagnosisInput& diagnosisInput, ProxyConfig config) {
  diagnosisInput.configStatus = config.configStatus;
  diagnosisInput.autoDetectInterface = config.autoDetectInterface;
  diagnosisInput.outbounds = std::move(config.outbounds);
}

}  // namespace egress

#endif
