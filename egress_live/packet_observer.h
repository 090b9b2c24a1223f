#ifndef EGRESS_LIVE_PACKET_OBSERVER_H
#define EGRESS_LIVE_PACKET_OBSERVER_H

#include <chrono>
#include <memory>
#include <string>

#include "egress/core/diagnosis.h"
#include "egress_live/export.h"
#include "egress_snapshot/host_snapshot.h"

namespace egress::live {

// Watches the packets of the engine's sockets on all interfaces of this network namespace, their
// headers only. Nothing is stored but counts.
//
// Opening needs CAP_NET_RAW on Linux; observing does not, so a program may give up its rights in
// between. If it cannot be opened, observing adds the reason to the record's missingFacts.
class EGRESS_LIVE_EXPORT PacketObserver {
 public:
  // Opens the capture; no packet is captured yet. Throws only when memory runs out.
  PacketObserver();
  PacketObserver(const PacketObserver&) = delete;
  PacketObserver& operator=(const PacketObserver&) = delete;
  ~PacketObserver();

  // Counts the packets that the sockets to the endpoint send during this time, and sets seenPackets
  // of those sockets and observedSeconds of the record. An endpoint whose status is not OK has no
  // sockets; then it returns at once. Throws only when memory runs out.
  void observe(const ActiveEndpoint& endpoint, std::chrono::seconds duration,
               snapshot::HostSnapshot& snapshot);

 private:
  struct Capture;
  std::unique_ptr<Capture> capture_;
};

}  // namespace egress::live

#endif
