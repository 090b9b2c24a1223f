#include "egress_c_live/egress_live.h"

#include <algorithm>
#include <iterator>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "egress_c/result_of.h"
#include "egress_live/look_up_routes.h"
#include "egress_live/take_snapshot.h"
#include "egress_snapshot/diagnose_snapshot.h"
#include "egress_snapshot/refusal.h"
#include "egress_snapshot/snapshot_json.h"

namespace egress::c {
namespace {

using snapshot::HostSnapshot;

// Replaces what was taken from the system. Who the program is, the caller has said.
void replaceLists(HostSnapshot taken, HostSnapshot& snapshot) {
  snapshot.origin.time = std::move(taken.origin.time);
  snapshot.origin.system = std::move(taken.origin.system);
  snapshot.processes = std::move(taken.processes);
  snapshot.listeningAt.clear();
  snapshot.adapters = std::move(taken.adapters);
  snapshot.routes = std::move(taken.routes);
  snapshot.sockets = std::move(taken.sockets);
  snapshot.observedSeconds = taken.observedSeconds;
  // That a name has no address is no fact of a socket.
  std::erase_if(snapshot.missingFacts, [](const snapshot::MissingFact& missing) {
    return missing.fact != snapshot::FactKind::ADDRESS;
  });
  std::ranges::move(taken.missingFacts, std::back_inserter(snapshot.missingFacts));
}

Outcome take(std::string_view text, const live::ProcessChoice& choice) {
  snapshot::Result<HostSnapshot> read = snapshot::snapshotFromJson(text);
  if (const auto* const refusal = std::get_if<snapshot::Refusal>(&read)) {
    return {.status = EGRESS_REFUSED, .text = toString(*refusal)};
  }
  auto taken = live::takeSnapshot(choice);
  if (auto* const none = std::get_if<live::NoProcess>(&taken)) {
    return {.status = EGRESS_NO_PROCESS, .text = std::move(none->message)};
  }
  auto& snapshot = std::get<HostSnapshot>(read);
  replaceLists(std::get<HostSnapshot>(std::move(taken)), snapshot);
  for (const snapshot::AddressFinding& finding : diagnoseAddresses(snapshot)) {
    live::lookUpRoutes(finding.diagnosis.endpoint, snapshot);
  }
  return {.text = snapshotToJson(snapshot)};
}

}  // namespace
}  // namespace egress::c

using egress::c::resultOf;
using egress::c::textOf;

const egress_result* egress_take_snapshot_of_process(const char* snapshot, size_t snapshotLength,
                                                     uint32_t processId) {
  return resultOf([=] { return egress::c::take(textOf(snapshot, snapshotLength), processId); });
}

const egress_result* egress_take_snapshot_of_name(const char* snapshot, size_t snapshotLength,
                                                  const char* name, size_t nameLength) {
  return resultOf([=] {
    egress::live::ProcessName choice{.name = std::string(textOf(name, nameLength))};
    return egress::c::take(textOf(snapshot, snapshotLength), std::move(choice));
  });
}
