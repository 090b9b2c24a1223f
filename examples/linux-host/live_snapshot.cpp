#include "examples/linux-host/live_snapshot.h"

#include <utility>

#include "examples/linux-host/adapters.h"
#include "examples/linux-host/errors.h"
#include "examples/linux-host/routes.h"
#include "examples/linux-host/sockets.h"

namespace linux_host {
namespace {

// Fills a snapshot with the rows that `takeRows` returns, or marks it as failed.
template <typename Row, typename TakeRows>
void take(egress::Snapshot<Row>& snapshot, LiveNotes& notes, TakeRows takeRows) {
  try {
    snapshot = {.enumFailed = false, .rows = takeRows()};
  } catch (const EnumerationError& error) {
    snapshot = {.enumFailed = true, .rows = {}};
    notes.failures.emplace_back(error.what());
  }
}

}  // namespace

LiveNotes takeLiveSnapshots(const ProcessChoice& choice, egress::DiagnosisInput& input) {
  LiveNotes notes;
  take(input.sockets, notes, [&choice] { return takeSockets(findProcesses(choice)); });
  take(input.adapters, notes, [&notes] {
    Adapters adapters = takeAdapters();
    notes.interfaceNames = std::move(adapters.names);
    return std::move(adapters.rows);
  });
  take(input.routes, notes, [] { return takeDefaultRoutes(); });
  return notes;
}

}  // namespace linux_host
