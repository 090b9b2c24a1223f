#include "egress_live/linux/packet_counts.h"

#include <algorithm>
#include <utility>

#include "egress_snapshot/cross_check.h"

namespace egress::live {
namespace {

using snapshot::SeenPackets;
using snapshot::Socket;

void countOne(std::vector<SeenPackets>& seen, std::uint32_t interfaceIndex) {
  auto place = std::ranges::lower_bound(seen, interfaceIndex, {}, &SeenPackets::interfaceIndex);
  if (place == seen.end() || place->interfaceIndex != interfaceIndex) {
    place = seen.insert(place, {.interfaceIndex = interfaceIndex, .count = 0});
  }
  place->count = incrementSaturated(place->count);
}

}  // namespace

// An address that is not valid has family 0, so it equals that of no packet.
PacketCounts::LocalEnd PacketCounts::endOf(snapshot::SocketProtocol protocol,
                                           const NumericAddress& address, std::uint32_t port) {
  return {protocol, address.family, address.bytes, port};
}

PacketCounts::PacketCounts(const ActiveEndpoint& endpoint, const std::vector<Socket>& rows)
    : endpoint_(endpoint) {
  for (std::size_t row = 0; row < rows.size(); ++row) {
    const Socket& socket = rows[row];
    if (!goesTo(socket, endpoint)) continue;
    const NumericAddress local = parseNumericAddress(socket.localAddress);
    sockets_.push_back({.local = endOf(socket.protocol, local, socket.localPort), .row = row});
  }
  std::ranges::sort(sockets_, {}, &Counted::local);
}

void PacketCounts::add(const CapturedPacket& packet) {
  if (!packet.isOutgoing || packet.destinationPort != endpoint_.port ||
      !sameNumericAddress(packet.destinationAddress, endpoint_.address)) {
    return;
  }
  const LocalEnd source = endOf(packet.protocol, packet.sourceAddress, packet.sourcePort);
  auto one = std::ranges::lower_bound(sockets_, source, {}, &Counted::local);
  for (; one != sockets_.end() && one->local == source; ++one) {
    countOne(one->seen, packet.interfaceIndex);
  }
}

bool PacketCounts::areOnSeveral() const noexcept {
  return std::ranges::any_of(sockets_, [](const Counted& one) { return one.seen.size() > 1; });
}

void PacketCounts::leaveUppermost(const StackedInterfaces& stacked) {
  for (Counted& one : sockets_) {
    const std::vector<SeenPackets> all = one.seen;
    std::erase_if(one.seen, [&](const SeenPackets& lower) {
      return std::ranges::any_of(all, [&](const SeenPackets& upper) {
        return stacked.contains({lower.interfaceIndex, upper.interfaceIndex});
      });
    });
  }
}

void PacketCounts::moveTo(std::vector<Socket>& rows) noexcept {
  for (Counted& one : sockets_) rows[one.row].seenPackets = std::move(one.seen);
}

}  // namespace egress::live
