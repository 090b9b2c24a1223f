#include "tests/laws/naive_cross_check.h"

#include <algorithm>
#include <set>
#include <string>

#include "egress/config/numeric_address.h"

namespace egress::test {
namespace {

using snapshot::Adapter;
using snapshot::CheckedSocket;
using snapshot::CrossCheck;
using snapshot::CrossCheckStatus;
using snapshot::Evidence;
using snapshot::HostSnapshot;
using snapshot::Socket;
using snapshot::SocketRole;
using Indexes = std::set<std::uint32_t>;

std::vector<Adapter> adaptersOf(const HostSnapshot& record) {
  return record.adapters.enumFailed ? std::vector<Adapter>{} : record.adapters.rows;
}

bool isSame(const std::string& a, const std::string& b) {
  return sameNumericAddress(parseNumericAddress(a), parseNumericAddress(b));
}

bool isKnown(const HostSnapshot& record, std::uint32_t index) {
  return std::ranges::count(adaptersOf(record), index, &Adapter::interfaceIndex) > 0;
}

bool isDown(const HostSnapshot& record, std::uint32_t index) {
  const std::set<std::int32_t> down = {2, 3, 5, 6, 7};
  const std::vector<Adapter> rows = adaptersOf(record);
  return std::ranges::none_of(rows, [&](const Adapter& row) {
    return row.interfaceIndex == index && !down.contains(row.operStatus);
  });
}

Indexes ownersOf(const HostSnapshot& record, const std::string& address) {
  Indexes owners;
  for (const Adapter& row : adaptersOf(record)) {
    for (const std::string& owned : row.addresses) {
      if (isSame(owned, address)) owners.insert(row.interfaceIndex);
    }
  }
  return owners;
}

std::vector<std::uint32_t> listOf(const Indexes& indexes) {
  return {indexes.begin(), indexes.end()};
}

std::optional<std::uint32_t> named(const HostSnapshot& record, std::optional<std::uint32_t> fact) {
  if (!fact || *fact == 0 || !isKnown(record, *fact)) return std::nullopt;
  return fact;
}

void decide(const HostSnapshot& record, const Socket& socket, CheckedSocket& checked) {
  const std::set<std::uint32_t> packets(checked.byPackets.begin(), checked.byPackets.end());
  std::optional<std::uint32_t> only;
  if (!packets.empty()) {
    checked.decidedBy = Evidence::PACKETS;
    checked.leavesThrough = checked.byPackets;
    if (checked.byRoute && packets.contains(*checked.byRoute)) only = checked.byRoute;
  } else if (socket.routeInterfaceIndex.has_value() && *socket.routeInterfaceIndex == 0) {
    checked.decidedBy = Evidence::ROUTE;
    checked.hasNoWayOut = true;
  } else if (checked.byRoute) {
    checked.decidedBy = Evidence::ROUTE;
    checked.hasNoWayOut = isDown(record, *checked.byRoute);
    only = checked.byRoute;
  } else if (checked.byBoundDevice) {
    checked.decidedBy = Evidence::BOUND_DEVICE;
    checked.hasNoWayOut = isDown(record, *checked.byBoundDevice);
    only = checked.byBoundDevice;
  }
  if (only && !checked.hasNoWayOut) checked.leavesThrough = {*only};
}

SocketRole roleOf(const Socket& socket, snapshot::CountedSockets counted) {
  if (isCounted(socket, counted)) return SocketRole::COUNTED;
  if (socket.protocol != snapshot::SocketProtocol::TCP) return SocketRole::NOT_COUNTED;
  return socket.state == snapshot::SocketState::SYN_SENT ? SocketRole::TRYING
                                                         : SocketRole::NOT_COUNTED;
}

std::vector<CheckedSocket> socketsWith(const CrossCheck& result, SocketRole role) {
  std::vector<CheckedSocket> sockets;
  for (const CheckedSocket& socket : result.sockets) {
    if (socket.role == role) sockets.push_back(socket);
  }
  return sockets;
}

Indexes interfacesOf(const std::vector<CheckedSocket>& sockets) {
  Indexes used;
  for (const CheckedSocket& socket : sockets) {
    used.insert(socket.leavesThrough.begin(), socket.leavesThrough.end());
  }
  return used;
}

CrossCheckStatus statusOf(const CrossCheck& result, std::optional<std::uint32_t> selected) {
  using enum CrossCheckStatus;
  const std::vector<CheckedSocket> counted = socketsWith(result, SocketRole::COUNTED);
  if (counted.empty() && !socketsWith(result, SocketRole::TRYING).empty()) return TRYING;
  if (counted.empty()) return NO_SOCKET;
  if (std::ranges::count(counted, true, &CheckedSocket::hasNoWayOut) > 0) return NO_WAY_OUT;
  Indexes others = interfacesOf(counted);
  if (selected) others.erase(*selected);
  if (selected && !others.empty()) return DISAGREES;
  if (!selected && others.size() > 1) return SEVERAL;
  if (std::ranges::count(counted, Evidence::NONE, &CheckedSocket::decidedBy) > 0) return UNKNOWN;
  return selected ? AGREES : SETTLES;
}

std::optional<std::uint32_t> selectedIndex(const HostSnapshot& record, const Diagnosis& diagnosis) {
  if (diagnosis.selection.status != SelectionStatus::OK) return std::nullopt;
  Indexes indexes;
  for (const Adapter& row : record.adapters.rows) indexes.insert(row.interfaceIndex);
  return *std::next(indexes.begin(), *diagnosis.selection.ordinal - 1);
}

std::optional<std::uint32_t> onlyInterface(const std::vector<CheckedSocket>& sockets) {
  const Indexes used = interfacesOf(sockets);
  const bool doAllLeave = std::ranges::none_of(
      sockets, [](const CheckedSocket& socket) { return socket.leavesThrough.empty(); });
  if (used.size() != 1 || !doAllLeave) return std::nullopt;
  return *used.begin();
}

}  // namespace

CrossCheck naiveCrossCheck(const HostSnapshot& record, const Diagnosis& diagnosis,
                           snapshot::CountedSockets counted) {
  CrossCheck result;
  const bool isEndpointKnown = diagnosis.endpoint.status == ActiveEndpointStatus::OK;
  if (!isEndpointKnown || record.sockets.enumFailed) return result;
  for (std::size_t row = 0; row < record.sockets.rows.size(); ++row) {
    const Socket& socket = record.sockets.rows[row];
    const NumericAddress remote = parseNumericAddress(socket.remoteAddress);
    if (!sameNumericAddress(remote, diagnosis.endpoint.address)) continue;
    if (socket.remotePort != diagnosis.endpoint.port) continue;
    CheckedSocket& checked = result.sockets.emplace_back();
    checked.row = row;
    checked.role = roleOf(socket, counted);
    checked.bySource = listOf(ownersOf(record, socket.localAddress));
    checked.byBoundDevice = named(record, socket.boundInterfaceIndex);
    checked.byRoute = named(record, socket.routeInterfaceIndex);
    Indexes packets;
    for (const snapshot::SeenPackets& seen : socket.seenPackets) {
      if (seen.count != 0 && isKnown(record, seen.interfaceIndex)) {
        packets.insert(seen.interfaceIndex);
      }
    }
    checked.byPackets = listOf(packets);
    decide(record, socket, checked);
  }
  result.status = statusOf(result, selectedIndex(record, diagnosis));
  const bool isTrying = result.status == CrossCheckStatus::TRYING;
  const SocketRole role = isTrying ? SocketRole::TRYING : SocketRole::COUNTED;
  result.interfaceIndex = onlyInterface(socketsWith(result, role));
  return result;
}

}  // namespace egress::test
