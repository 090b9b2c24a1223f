// Usage: egress_observe_packets PID ADDRESS PORT SECONDS
//
// Takes a snapshot of a process, gives up its rights and observes the packets of the sockets to an
// endpoint. Prints an array of the snapshot before and after.

#include <cstdint>
#include <exception>
#include <iostream>
#include <string>
#include <variant>

#include "apps/report/rights.h"
#include "egress_live/packet_observer.h"
#include "egress_live/take_snapshot.h"
#include "egress_snapshot/snapshot_json.h"

namespace {

using egress::snapshot::HostSnapshot;

// Without an address that is valid, the endpoint is unknown.
egress::ActiveEndpoint endpointOf(const std::string& address, const std::string& port) {
  const egress::NumericAddress numeric = egress::parseNumericAddress(address);
  if (!numeric.valid) return {};
  return {.status = egress::ActiveEndpointStatus::OK,
          .address = numeric,
          .port = static_cast<std::uint32_t>(std::stoul(port))};
}

void observe(char** arguments) {
  egress::live::PacketObserver observer;
  auto taken = egress::live::takeSnapshot(static_cast<std::uint32_t>(std::stoul(arguments[0])));
  egress::report::dropRights();
  auto& snapshot = std::get<HostSnapshot>(taken);
  std::cout << '[' << egress::snapshot::snapshotToJson(snapshot) << ',';
  observer.observe(endpointOf(arguments[1], arguments[2]),
                   static_cast<std::uint32_t>(std::stoul(arguments[3])), snapshot);
  std::cout << egress::snapshot::snapshotToJson(snapshot) << "]\n";
}

}  // namespace

int main(int count, char** arguments) {
  try {
    if (count != 5) return 2;
    observe(arguments + 1);
  } catch (const std::exception& error) {
    std::cerr << error.what() << '\n';
    return 2;
  }
}
