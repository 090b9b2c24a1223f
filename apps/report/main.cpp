// egress-report: diagnoses this machine or a saved snapshot.

#include <functional>
#include <iostream>
#include <map>
#include <new>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>

#include "apps/report/explain.h"
#include "apps/report/files.h"
#include "apps/report/input.h"
#include "apps/report/new_file.h"
#include "apps/report/options.h"
#include "apps/report/rights.h"
#include "apps/report/text.h"
#include "egress/egress.h"
#include "egress_live/take_snapshot.h"
#include "egress_snapshot/anonymize.h"
#include "egress_snapshot/report_json.h"
#include "egress_snapshot/snapshot_json.h"

namespace egress::report {
namespace {

using snapshot::HostSnapshot;

// Any user may give any name to a process, so a name needs a look at what it found.
void printProcesses(const live::ProcessChoice& choice, const HostSnapshot& snapshot) {
  if (!std::holds_alternative<live::ProcessName>(choice)) return;
  for (const snapshot::Process& process : snapshot.processes) printError(processText(process));
}

template <typename Row>
void printFailure(const char* name, const snapshot::SnapshotList<Row>& list) {
  if (!list.failureReason.empty()) printError(std::string(name) + ": " + list.failureReason);
}

void save(const Options& options, const HostSnapshot& snapshot, const snapshot::TextSink& sink) {
  if (!options.anonymize) {
    writeSnapshot(snapshot, sink);
  } else {
    const snapshot::Result<HostSnapshot> result = anonymized(snapshot);
    if (const auto* const refusal = std::get_if<snapshot::Refusal>(&result)) {
      throw CannotRun("--anonymize: " + toString(*refusal));
    }
    writeSnapshot(std::get<HostSnapshot>(result), sink);
  }
  sink("\n");
}

NamesByOrdinal namesByOrdinal(const HostSnapshot& snapshot, const Diagnosis& diagnosis) {
  std::map<std::uint32_t, std::string> namesByIndex;
  for (const snapshot::Adapter& row : snapshot.adapters.rows) {
    if (!row.name.empty()) namesByIndex[row.interfaceIndex] = row.name;
  }
  NamesByOrdinal names;
  for (const DiagnosedInterface& row : diagnosis.interfaces) {
    const auto name = namesByIndex.find(row.interfaceIndex);
    if (name != namesByIndex.end()) names[row.ordinal] = name->second;
  }
  return names;
}

std::string reportText(const Options& options, const HostSnapshot& snapshot,
                       const Diagnosis& diagnosis) {
  const EgressReport report = writeReport(diagnosis);
  return options.explain ? explain(report, namesByOrdinal(snapshot, diagnosis))
                         : snapshot::reportToJson(report) + '\n';
}

bool hasAnswer(const Diagnosis& diagnosis) {
  using enum SelectionStatus;
  const SelectionStatus status = diagnosis.selection.status;
  return status == OK || status == NOT_APPLICABLE_OS_ROUTED;
}

// Returns the exit status.
int run(const Options& options) {
  HostSnapshot taken;
  if (options.processes) taken = takeLiveSnapshot(*options.processes);
  // Another user than root reads and writes only what that user may, even if the program has file
  // capabilities to see the sockets. Root may name a file that only the engine's user can read, and
  // a folder of another user.
  if (!isCalledByRoot()) dropRights();
  InputTexts texts = readTexts(options);
  std::optional<NewFile> saved;
  const bool savesToFile = options.saveSnapshotPath && options.saveSnapshotPath != kStandardStream;
  if (savesToFile) saved.emplace(*options.saveSnapshotPath);
  // Before the first byte is parsed: strangers may have written the texts.
  if (isCalledByRoot()) dropRights();
  const HostSnapshot snapshot = parseInput(options, std::move(taken), std::move(texts));
  if (options.processes) printProcesses(*options.processes, snapshot);
  printFailure("sockets", snapshot.sockets);
  printFailure("adapters", snapshot.adapters);
  printFailure("routes", snapshot.routes);
  const Diagnosis diagnosis = diagnose(toInput(snapshot));
  if (options.saveSnapshotPath == kStandardStream) {
    save(options, snapshot, [](std::string_view text) { std::cout << text; });
  } else {
    if (saved) {
      save(options, snapshot, [&saved](std::string_view text) { saved->write(text); });
      saved->commit();
    }
    std::cout << reportText(options, snapshot, diagnosis);
  }
  return hasAnswer(diagnosis) ? 0 : 1;
}

}  // namespace
}  // namespace egress::report

int main(int argc, char** argv) {
  namespace report = egress::report;
  report::reserveStandardStreams();
  try {
    const auto options = report::readOptions(argc, argv);
    const int status = options ? report::run(*options) : 0;
    if (!std::cout.flush()) {
      throw report::CannotRun(report::withSystemError("cannot write to standard output"));
    }
    return status;
  } catch (const std::bad_alloc&) {
    report::printError("not enough memory");
  } catch (const std::exception& error) {
    report::printError(error.what());
  }
  return 2;
}
