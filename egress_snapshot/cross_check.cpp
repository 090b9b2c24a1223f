#include "egress_snapshot/cross_check.h"

#include <algorithm>
#include <map>
#include <set>
#include <tuple>

#include "egress/config/numeric_address.h"

namespace egress::snapshot {

static_assert(kCrossCheckStatusWords.size() ==
              static_cast<std::size_t>(CrossCheckStatus::UNKNOWN) + 1);
static_assert(kEvidenceWords.size() == static_cast<std::size_t>(Evidence::PACKETS) + 1);
static_assert(kSocketRoleWords.size() == static_cast<std::size_t>(SocketRole::NOT_COUNTED) + 1);

namespace {

using Indexes = std::vector<std::uint32_t>;
using OwnedAddress = std::tuple<std::uint32_t, std::array<std::uint8_t, 16>, std::uint32_t>;

// What the adapters' rows say, by interface index.
struct Interfaces {
  std::map<std::uint32_t, bool> areDown;
  std::set<OwnedAddress> owned;  // family, bytes, interface index
};

Interfaces interfacesOf(const SnapshotList<Adapter>& adapters) {
  Interfaces interfaces;
  if (adapters.enumFailed) return interfaces;
  for (const Adapter& row : adapters.rows) {
    bool& isInterfaceDown = interfaces.areDown.try_emplace(row.interfaceIndex, true).first->second;
    isInterfaceDown = isInterfaceDown && isDown(row);
    for (const std::string& text : row.addresses) {
      const NumericAddress address = parseNumericAddress(text);
      if (!address.valid) continue;
      interfaces.owned.emplace(address.family, address.bytes, row.interfaceIndex);
    }
  }
  return interfaces;
}

// Ascending.
Indexes ownersOf(const Interfaces& interfaces, const std::string& addressText) {
  Indexes owners;
  const NumericAddress address = parseNumericAddress(addressText);
  auto owner = interfaces.owned.lower_bound({address.family, address.bytes, 0});
  for (; owner != interfaces.owned.end(); ++owner) {
    const auto& [family, bytes, interfaceIndex] = *owner;
    if (family != address.family || bytes != address.bytes) break;
    owners.push_back(interfaceIndex);
  }
  return owners;
}

// The interface that a fact names; nothing if the fact is absent or 0, or no adapter has the index.
std::optional<std::uint32_t> namedInterface(const Interfaces& interfaces,
                                            std::optional<std::uint32_t> fact) {
  const bool isNamed = fact.value_or(0) != 0 && interfaces.areDown.contains(*fact);
  return isNamed ? fact : std::nullopt;
}

Indexes interfacesOfPackets(const Interfaces& interfaces, const std::vector<SeenPackets>& seen) {
  std::set<std::uint32_t> indexes;
  for (const SeenPackets& row : seen) {
    if (row.count > 0 && interfaces.areDown.contains(row.interfaceIndex)) {
      indexes.insert(row.interfaceIndex);
    }
  }
  return {indexes.begin(), indexes.end()};
}

SocketRole roleOf(const Socket& socket, CountedSockets counted) noexcept {
  if (isCounted(socket, counted)) return SocketRole::COUNTED;
  return isAttempt(socket) ? SocketRole::TRYING : SocketRole::NOT_COUNTED;
}

// The packets of a bridge or a tunnel pass several devices; the route names the first.
Indexes packetsLeaveThrough(const CheckedSocket& checked) {
  const std::optional<std::uint32_t> route = checked.byRoute;
  if (route && std::ranges::binary_search(checked.byPackets, *route)) return {*route};
  return checked.byPackets;
}

// Fills in what the strongest evidence says. A socket whose packets were seen leaves, whatever the
// state of the interface is.
void decide(CheckedSocket& checked, const Socket& socket, const Interfaces& interfaces) {
  if (!checked.byPackets.empty()) {
    checked.decidedBy = Evidence::PACKETS;
    checked.leavesThrough = packetsLeaveThrough(checked);
    return;
  }
  const bool hasNoRoute = socket.routeInterfaceIndex == 0U;
  const bool isRouteKnown = hasNoRoute || checked.byRoute.has_value();
  if (!isRouteKnown && !checked.byBoundDevice) return;
  checked.decidedBy = isRouteKnown ? Evidence::ROUTE : Evidence::BOUND_DEVICE;
  const auto decided = isRouteKnown ? checked.byRoute : checked.byBoundDevice;
  checked.hasNoWayOut = !decided || interfaces.areDown.find(*decided)->second;
  if (!checked.hasNoWayOut) checked.leavesThrough = {*decided};
}

CheckedSocket check(std::size_t row, const Socket& socket, const Interfaces& interfaces,
                    CountedSockets counted) {
  CheckedSocket checked;
  checked.row = row;
  checked.role = roleOf(socket, counted);
  checked.bySource = ownersOf(interfaces, socket.localAddress);
  checked.byBoundDevice = namedInterface(interfaces, socket.boundInterfaceIndex);
  checked.byRoute = namedInterface(interfaces, socket.routeInterfaceIndex);
  checked.byPackets = interfacesOfPackets(interfaces, socket.seenPackets);
  decide(checked, socket, interfaces);
  return checked;
}

std::vector<CheckedSocket> checkSockets(const HostSnapshot& snapshot,
                                        const ActiveEndpoint& endpoint, CountedSockets counted) {
  const Interfaces interfaces = interfacesOf(snapshot.adapters);
  std::vector<CheckedSocket> checked;
  for (std::size_t row = 0; row < snapshot.sockets.rows.size(); ++row) {
    const Socket& socket = snapshot.sockets.rows[row];
    if (goesTo(socket, endpoint)) checked.push_back(check(row, socket, interfaces, counted));
  }
  return checked;
}

std::optional<std::uint32_t> selectedInterface(const Diagnosis& diagnosis) noexcept {
  const Selection& selection = diagnosis.selection;
  if (selection.status != SelectionStatus::OK || !selection.ordinal) return std::nullopt;
  return interfaceIndexOf(diagnosis, *selection.ordinal);
}

CrossCheckStatus statusOf(const std::vector<CheckedSocket>& sockets,
                          std::optional<std::uint32_t> selected) {
  std::vector<const CheckedSocket*> counted;
  bool isTrying = false;
  std::set<std::uint32_t> used;
  for (const CheckedSocket& socket : sockets) {
    if (socket.role == SocketRole::TRYING) isTrying = true;
    if (socket.role != SocketRole::COUNTED) continue;
    counted.push_back(&socket);
    used.insert(socket.leavesThrough.begin(), socket.leavesThrough.end());
  }
  const auto any = [&counted](auto condition) { return std::ranges::any_of(counted, condition); };
  using enum CrossCheckStatus;
  if (counted.empty()) return isTrying ? TRYING : NO_SOCKET;
  if (any([](const CheckedSocket* socket) { return socket->hasNoWayOut; })) return NO_WAY_OUT;
  if (selected) used.insert(*selected);
  if (used.size() > 1) return selected ? DISAGREES : SEVERAL;
  if (any([](const CheckedSocket* socket) { return socket->decidedBy == Evidence::NONE; })) {
    return UNKNOWN;
  }
  return selected ? AGREES : SETTLES;
}

// The one interface that each socket with this role leaves through.
std::optional<std::uint32_t> commonInterface(const std::vector<CheckedSocket>& sockets,
                                             SocketRole role) noexcept {
  std::optional<std::uint32_t> common;
  for (const CheckedSocket& socket : sockets) {
    if (socket.role != role) continue;
    if (socket.leavesThrough.size() != 1) return std::nullopt;
    const std::uint32_t only = socket.leavesThrough.front();
    if (common.value_or(only) != only) return std::nullopt;
    common = only;
  }
  return common;
}

}  // namespace

bool goesTo(const Socket& socket, const ActiveEndpoint& endpoint) noexcept {
  return endpoint.status == ActiveEndpointStatus::OK && socket.remotePort == endpoint.port &&
         sameNumericAddress(parseNumericAddress(socket.remoteAddress), endpoint.address);
}

CrossCheck crossCheck(const HostSnapshot& snapshot, const Diagnosis& diagnosis,
                      CountedSockets counted) {
  CrossCheck result;
  const ActiveEndpoint& endpoint = diagnosis.endpoint;
  if (endpoint.status != ActiveEndpointStatus::OK || snapshot.sockets.enumFailed) return result;
  result.sockets = checkSockets(snapshot, endpoint, counted);
  result.status = statusOf(result.sockets, selectedInterface(diagnosis));
  const bool isTrying = result.status == CrossCheckStatus::TRYING;
  result.interfaceIndex =
      commonInterface(result.sockets, isTrying ? SocketRole::TRYING : SocketRole::COUNTED);
  return result;
}

}  // namespace egress::snapshot
