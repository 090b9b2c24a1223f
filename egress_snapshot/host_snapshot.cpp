#include "egress_snapshot/host_snapshot.h"

namespace egress::snapshot {

static_assert(kSocketProtocolWords.size() == static_cast<std::size_t>(SocketProtocol::UDP) + 1);
static_assert(kSocketStateWords.size() == static_cast<std::size_t>(SocketState::CLOSED) + 1);

DiagnosisInput toInput(const HostSnapshot& snapshot) {
  DiagnosisInput input;
  setProxyConfig(input, snapshot.config);
  input.selectorAnswers = snapshot.selectorAnswers;
  input.selectorHint = snapshot.selectorHint;
  input.adapters.enumFailed = snapshot.adapters.enumFailed;
  input.adapters.rows.reserve(snapshot.adapters.rows.size());
  for (const Adapter& row : snapshot.adapters.rows) {
    input.adapters.rows.push_back({.interfaceIndex = row.interfaceIndex,
                                   .operStatus = row.operStatus,
                                   .interfaceMetric = row.interfaceMetric,
                                   .addresses = row.addresses});
  }
  input.routes = {.enumFailed = snapshot.routes.enumFailed, .rows = snapshot.routes.rows};
  input.sockets.enumFailed = snapshot.sockets.enumFailed;
  input.sockets.rows.reserve(snapshot.sockets.rows.size());
  for (const Socket& row : snapshot.sockets.rows) {
    input.sockets.rows.push_back({.localAddress = row.localAddress,
                                  .localPort = row.localPort,
                                  .remoteAddress = row.remoteAddress,
                                  .remotePort = row.remotePort});
  }
  return input;
}

}  // namespace egress::snapshot
