// Reads a saved snapshot, and prints a JSON array of the snapshot and its report.

#include <iostream>
#include <variant>

#include "egress/egress.h"
#include "egress_snapshot/diagnose_snapshot.h"
#include "egress_snapshot/report_json.h"
#include "egress_snapshot/snapshot_json.h"

int main() {
  using egress::snapshot::HostSnapshot;
  const auto result = egress::snapshot::snapshotFromJson(
      R"({"format": "egress-snapshot", "version": 1, "selectorHint": "a tag"})");
  const auto* const host = std::get_if<HostSnapshot>(&result);
  if (host == nullptr) {
    std::cerr << toString(std::get<egress::snapshot::Refusal>(result)) << '\n';
    return 1;
  }
  const egress::EgressReport report = egress::diagnoseEgress(toInput(*host));
  std::cout << '[' << snapshotToJson(*host) << ",\n"
            << egress::snapshot::reportToJson(report) << "]\n";
}
