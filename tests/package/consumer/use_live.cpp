// Prints whether a snapshot of this process can be taken, and observes no packets of it.

#include <cstdint>
#include <iostream>
#include <unistd.h>
#include <variant>

#include "egress_live/packet_observer.h"
#include "egress_live/take_snapshot.h"

int main() {
  auto result = egress::live::takeSnapshot(static_cast<std::uint32_t>(getpid()));
  const auto* const none = std::get_if<egress::live::NoProcess>(&result);
  if (auto* const snapshot = std::get_if<egress::snapshot::HostSnapshot>(&result)) {
    egress::live::PacketObserver().observe({}, /*seconds=*/0, *snapshot);
  }
  std::cout << (none == nullptr ? "snapshot taken" : "no snapshot: " + none->message) << '\n';
}
