// Prints the interface through which a running proxy engine's traffic leaves this host.
// Usage: live PROCESS_NAME <CONFIGURATION

#include <cstddef>
#include <iostream>
#include <iterator>
#include <string>
#include <variant>

#include "egress/egress.h"
#include "egress_live/look_up_routes.h"
#include "egress_live/take_snapshot.h"
#include "egress_snapshot/cross_check.h"
#include "egress_snapshot/diagnose_snapshot.h"

int main(int argc, char** argv) {
  auto taken =
      egress::live::takeSnapshot(egress::live::ProcessName{.name = argc == 2 ? argv[1] : ""});
  auto* const snapshot = std::get_if<egress::snapshot::HostSnapshot>(&taken);
  if (snapshot == nullptr) {
    std::cerr << "live: " << std::get_if<egress::live::NoProcess>(&taken)->message << "\n";
    return 2;
  }
  const std::string text(std::istreambuf_iterator<char>(std::cin), {});
  snapshot->config = egress::readProxyConfig(text, /*hasText=*/true);

  // The diagnosis names the owner of the source addresses; the system knows the packets' way.
  const egress::Diagnosis diagnosis = diagnose(*snapshot);
  egress::live::lookUpRoutes(diagnosis.endpoint, *snapshot);
  const egress::snapshot::CrossCheck check = crossCheck(*snapshot, diagnosis);
  std::cout << egress::toString(diagnosis.selection.status) << ", "
            << egress::snapshot::kCrossCheckStatusWords.at(static_cast<std::size_t>(check.status))
            << "\n";
  if (!check.interfaceIndex) return 1;
  for (const egress::snapshot::Adapter& adapter : snapshot->adapters.rows) {
    if (adapter.interfaceIndex == check.interfaceIndex) std::cout << adapter.name << "\n";
  }
}
