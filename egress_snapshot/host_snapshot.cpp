#include "egress_snapshot/host_snapshot.h"

namespace egress::snapshot {

static_assert(kInterfaceKindWords.size() == static_cast<std::size_t>(InterfaceKind::TUNNEL) + 1);
static_assert(kFactKindWords.size() == static_cast<std::size_t>(FactKind::ADDRESS) + 1);
static_assert(kNameSourceWords.size() == static_cast<std::size_t>(NameSource::SYSTEM) + 1);
static_assert(kQueryOutcomeWords.size() == static_cast<std::size_t>(QueryOutcome::FAILED) + 1);
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

bool isAttempt(const Socket& socket) noexcept {
  return socket.protocol == SocketProtocol::TCP && socket.state == SocketState::SYN_SENT;
}

}  // namespace egress::snapshot
