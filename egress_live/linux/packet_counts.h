#ifndef EGRESS_LIVE_LINUX_PACKET_COUNTS_H
#define EGRESS_LIVE_LINUX_PACKET_COUNTS_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <tuple>
#include <vector>

#include "egress/core/diagnosis.h"
#include "egress_live/linux/captured_packet.h"
#include "egress_live/linux/stacked_interfaces.h"
#include "egress_snapshot/host_snapshot.h"

namespace egress::live {

// Counts the packets of the sockets to an endpoint, by interface.
class PacketCounts {
 public:
  // Takes the sockets to the endpoint from the rows, which may change afterwards. An endpoint whose
  // status is not OK has none. The addresses are compared by value.
  PacketCounts(const ActiveEndpoint& endpoint, const std::vector<snapshot::Socket>& rows);

  // Whether no socket goes to the endpoint, so that no packet counts.
  [[nodiscard]] bool isEmpty() const noexcept { return sockets_.empty(); }

  // Counts an outgoing packet for the sockets with its protocol, source and destination; nearly
  // always there is one at most.
  void add(const CapturedPacket& packet);

  // Whether the packets of a socket were seen on more than one interface.
  [[nodiscard]] bool areOnSeveral() const noexcept;

  // Leaves of stacked interfaces only the uppermost, which the packets were routed to: they pass
  // all of them.
  void leaveUppermost(const StackedInterfaces& stacked);

  // Sets seenPackets of the sockets to the endpoint in the rows that this was made from. The counts
  // are gone afterwards.
  void moveTo(std::vector<snapshot::Socket>& rows) noexcept;

 private:
  // Protocol, family, address and port.
  using LocalEnd = std::tuple<snapshot::SocketProtocol, std::uint32_t, std::array<std::uint8_t, 16>,
                              std::uint32_t>;
  struct Counted {
    LocalEnd local;
    std::size_t row = 0;
    std::vector<snapshot::SeenPackets> seen = {};  // ascending by interface
  };

  static LocalEnd endOf(snapshot::SocketProtocol protocol, const NumericAddress& address,
                        std::uint32_t port);

  ActiveEndpoint endpoint_;
  std::vector<Counted> sockets_;  // ascending by local end
};

[[nodiscard]] constexpr std::uint32_t incrementSaturated(std::uint32_t count) {
  return count == std::numeric_limits<std::uint32_t>::max() ? count : count + 1;
}

}  // namespace egress::live

#endif
