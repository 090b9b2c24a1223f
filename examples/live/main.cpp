// Prints the interface through which a running proxy engine's traffic leaves this host.
// Usage: live PROCESS_NAME <CONFIGURATION

#include <iostream>
#include <iterator>
#include <string>
#include <variant>

#include "egress/egress.h"
#include "egress_live/take_snapshot.h"

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

  const egress::Diagnosis diagnosis = egress::diagnose(toInput(*snapshot));
  std::cout << egress::toString(diagnosis.selection.status) << "\n";
  if (!diagnosis.selection.ordinal) return 1;
  const auto index = egress::interfaceIndexOf(diagnosis, *diagnosis.selection.ordinal);
  for (const egress::snapshot::Adapter& adapter : snapshot->adapters.rows) {
    if (adapter.interfaceIndex == index) std::cout << adapter.name << "\n";
  }
}
