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
void take(const char* name, egress::Snapshot<Row>& snapshot, LiveNotes& notes, TakeRows takeRows) {
  try {
    snapshot = {.enumFailed = false, .rows = takeRows()};
  } catch (const EnumerationError& error) {
    snapshot = {.enumFailed = true, .rows = {}};
    notes.failures.push_back(std::string(name) + ": " + error.what());
  }
}

}  // namespace

LiveNotes takeLiveSnapshots(const ProcessChoice& choice, egress::DiagnosisInput& input) {
  LiveNotes notes;
  take("sockets", input.sockets, notes, [&choice] { return takeSockets(findProcesses(choice)); });
  take("adapters", input.adapters, notes, [&notes] {
    Adapters adapters = takeAdapters();
    notes.interfaceNames = std::move(adapters.names);
    return std::move(adapters.rows);
  });
  take("routes", input.routes, notes, [] { return takeDefaultRoutes(); });
  return notes;
}

}  // namespace linux_host
