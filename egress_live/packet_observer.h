#ifndef EGRESS_LIVE_PACKET_OBSERVER_H
#define EGRESS_LIVE_PACKET_OBSERVER_H

#include <cstdint>
#include <memory>

#include "egress/core/diagnosis.h"
#include "egress_live/export.h"
#include "egress_snapshot/host_snapshot.h"

namespace egress::live {

// Watches the packets of the engine's sockets on all interfaces of this network namespace, their
// headers only. Nothing is stored but counts.
//
// - Opening needs CAP_NET_RAW on Linux; observing does not, so a program may give up its rights in
//   between.
// - On Linux libpcap captures the first 64 bytes from the IP header on, without promiscuous mode.
//   The kernel accepts no packet but outgoing ones to the endpoint, and none at all unless it is
//   observed.
// - Threads: one at a time may use an observer; several may have one each.
class EGRESS_LIVE_EXPORT PacketObserver {
 public:
  // Opens the capture. If it cannot be opened, the reason is kept for observe(). Throws only when
  // memory runs out.
  PacketObserver();
  PacketObserver(const PacketObserver&) = delete;
  PacketObserver& operator=(const PacketObserver&) = delete;
  ~PacketObserver();

  // Counts the packets that the record's sockets to the endpoint send in this time, and sets
  // seenPackets of those sockets (ascending by interface, counts of 1 or more) and observedSeconds
  // of the record. May be called again.
  //
  // - A packet belongs to a socket if protocol, source and destination are the same. The sources of
  //   packets that the host rewrites (NAT) are not, so such packets are not counted. Sockets that
  //   share both ends share the counts.
  // - A packet that passes stacked interfaces, for example a bridge and its port or a VLAN and its
  //   link, counts for the uppermost, which it was routed to.
  // - Packets that the kernel drops from a full buffer are not counted. A count ends at 2^32 - 1.
  // - It returns at once if no socket goes to the endpoint, and changes nothing; an endpoint whose
  //   status is not OK has no sockets.
  // - If packets cannot be captured, or no longer, it returns at once and only adds the reason to
  //   missingFacts.
  // - Throws only when memory runs out; then the record is unchanged.
  void observe(const ActiveEndpoint& endpoint, std::uint32_t seconds,
               snapshot::HostSnapshot& snapshot);

 private:
  struct Capture;
  std::unique_ptr<Capture> capture_;
};

}  // namespace egress::live

#endif
