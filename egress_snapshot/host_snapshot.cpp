#include "egress_snapshot/host_snapshot.h"

namespace egress::snapshot {

static_assert(kInterfaceKindWords.size() == static_cast<std::size_t>(InterfaceKind::TUNNEL) + 1);
static_assert(kFactKindWords.size() == static_cast<std::size_t>(FactKind::PACKETS) + 1);
static_assert(kSocketProtocolWords.size() == static_cast<std::size_t>(SocketProtocol::UDP) + 1);
static_assert(kSocketStateWords.size() == static_cast<std::size_t>(SocketState::CLOSED) + 1);

namespace {

bool isConnected(SocketState state) noexcept {
  using enum SocketState;
  switch (state) {
    case ESTABLISHED:
    case FIN_WAIT_1:
    case FIN_WAIT_2:
    case CLOSE_WAIT:
    case CLOSING:
    case LAST_ACK: return true;
    case SYN_SENT:
    case SYN_RECEIVED:
    case TIME_WAIT:
    case LISTEN:
    case CLOSED: break;
  }
  return false;
}

}  // namespace

// The states of RFC 2863 in which an interface passes no packet. The value comes from outside, so
// it can be any number.
bool isDown(const Adapter& adapter) noexcept {
  switch (adapter.operStatus) {
    case 2:               // down
    case 3:               // testing
    case 5:               // dormant
    case 6:               // notPresent
    case 7: return true;  // lowerLayerDown
    default: return false;
  }
}

bool isCounted(const Socket& socket, CountedSockets counted) noexcept {
  const bool isTcp = socket.protocol == SocketProtocol::TCP;
  return isConnected(socket.state) && (isTcp || counted == CountedSockets::TCP_AND_UDP);
}

DiagnosisInput toInput(const HostSnapshot& snapshot, CountedSockets counted) {
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
    if (!isCounted(row, counted)) continue;
    input.sockets.rows.push_back({.localAddress = row.localAddress,
                                  .localPort = row.localPort,
                                  .remoteAddress = row.remoteAddress,
                                  .remotePort = row.remotePort});
  }
  return input;
}

}  // namespace egress::snapshot
