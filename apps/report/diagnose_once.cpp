#include "apps/report/diagnose_once.h"

#include <iostream>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>

#include "apps/report/examine.h"
#include "apps/report/files.h"
#include "apps/report/finding.h"
#include "apps/report/input.h"
#include "apps/report/look.h"
#include "apps/report/new_file.h"
#include "apps/report/output.h"
#include "apps/report/rights.h"
#include "apps/report/text.h"
#include "egress_live/packet_observer.h"
#include "egress_live/take_snapshot.h"
#include "egress_snapshot/anonymize.h"
#include "egress_snapshot/snapshot_json.h"

namespace egress::report {
namespace {

using snapshot::HostSnapshot;

// Any user may give any name to a process, so a name needs a look at what it found.
void printProcesses(const live::ProcessChoice& choice, const HostSnapshot& snapshot) {
  if (!std::holds_alternative<live::ProcessName>(choice)) return;
  for (const snapshot::Process& process : snapshot.processes) printError(processText(process));
}

void write(const Options& options, const HostSnapshot& snapshot, const snapshot::TextSink& sink) {
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

// The file of --save-snapshot. If it cannot be written, the report is printed all the same.
class SavedFile {
 public:
  explicit SavedFile(const std::string& path) {
    tryTo([&] { file_.emplace(path); });
  }

  void save(const Options& options, const HostSnapshot& snapshot) {
    if (!file_) return;
    tryTo([&] {
      write(options, snapshot, [this](std::string_view text) { file_->write(text); });
      file_->commit();
    });
  }

  [[nodiscard]] bool hasFailed() const { return hasFailed_; }

 private:
  template <typename Step>
  void tryTo(Step step) {
    try {
      step();
    } catch (const CannotRun& error) {
      printError(error.what());
      hasFailed_ = true;
    }
  }

  std::optional<NewFile> file_;
  bool hasFailed_ = false;
};

}  // namespace

int diagnoseOnce(const Options& options) {
  HostSnapshot taken;
  std::optional<live::PacketObserver> observer;
  if (options.processes) taken = takeLiveSnapshot(*options.processes);
  if (options.observeSeconds) observer.emplace();
  // Another user than root reads and writes only what that user may, even if the program has file
  // capabilities to see the sockets. Root may name a file that only the engine's user can read, and
  // a folder of another user.
  if (!isCalledByRoot()) dropRights();
  InputTexts texts = readTexts(options);
  std::optional<SavedFile> saved;
  const bool savesToOutput = options.saveSnapshotPath == kStandardStream;
  if (options.saveSnapshotPath && !savesToOutput) saved.emplace(*options.saveSnapshotPath);
  // Before the first byte is parsed: strangers may have written the texts.
  if (isCalledByRoot()) dropRights();
  if (options.processes) printProcesses(*options.processes, taken);
  const Finding finding =
      examine(options, std::move(taken), std::move(texts), observer ? &*observer : nullptr);
  if (options.output == Output::REPORT || options.output == Output::DETAILS || savesToOutput) {
    printNotes(options, finding);
  }
  if (saved) saved->save(options, finding.snapshot);
  if (savesToOutput) {
    write(options, finding.snapshot, [](std::string_view text) { std::cout << text; });
  } else {
    std::cout << outputText(options, finding);
  }
  const Outcome outcome = saved && saved->hasFailed() ? Outcome::CANNOT_RUN : outcomeOf(finding);
  return static_cast<int>(outcome);
}

}  // namespace egress::report
