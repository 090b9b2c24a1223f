// egress-report: diagnoses this machine or a saved snapshot.

#include <iostream>
#include <new>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>

#include "apps/report/answer.h"
#include "apps/report/culprit.h"
#include "apps/report/examine.h"
#include "apps/report/explain.h"
#include "apps/report/files.h"
#include "apps/report/finding.h"
#include "apps/report/input.h"
#include "apps/report/look.h"
#include "apps/report/new_file.h"
#include "apps/report/notes.h"
#include "apps/report/options.h"
#include "apps/report/rights.h"
#include "apps/report/terminal.h"
#include "apps/report/text.h"
#include "egress/egress.h"
#include "egress_live/packet_observer.h"
#include "egress_live/take_snapshot.h"
#include "egress_snapshot/anonymize.h"
#include "egress_snapshot/details_json.h"
#include "egress_snapshot/report_json.h"
#include "egress_snapshot/snapshot_json.h"

namespace egress::report {
namespace {

using snapshot::HostSnapshot;

// Any user may give any name to a process and listen anywhere, so a choice by name or address needs
// a look at what it found.
void printProcesses(const live::ProcessChoice& choice, const HostSnapshot& snapshot) {
  if (std::holds_alternative<std::uint32_t>(choice)) return;
  for (const snapshot::Process& process : snapshot.processes) printError(processText(process));
}

template <typename Row>
void printFailure(const char* name, const snapshot::SnapshotList<Row>& list, const char* remedy) {
  if (list.failureReason.empty()) return;
  printError(std::string(name) + ": " + list.failureReason + remedy);
}

// The text for people says the same.
void printFailures(const HostSnapshot& snapshot) {
  const bool isDenied = isForLackOfPermission(snapshot.sockets.failureReason);
  printFailure("sockets", snapshot.sockets,
               isDenied ? "; run egress-report as root, or as the user of the engine" : "");
  printFailure("adapters", snapshot.adapters, "");
  printFailure("routes", snapshot.routes, "");
  for (const snapshot::MissingFact& missing : snapshot.missingFacts) {
    // Marks matter only to routes, whose reason says so.
    if (missing.fact == snapshot::FactKind::MARK || missing.reason.empty()) continue;
    printError(std::string(nameOf(missing.fact)) + ": " + missing.reason);
  }
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

std::string outputText(const Options& options, const Finding& finding) {
  switch (options.output) {
    case Output::TEXT: return answerText(finding, terminalStyle());
    case Output::EXPLAINED: break;
    case Output::REPORT: return snapshot::reportToJson(writeReport(finding.diagnosis())) + '\n';
    case Output::DETAILS: return detailsToJson(finding.snapshot, finding.addresses) + '\n';
  }
  return answerText(finding, terminalStyle()) + '\n' + explain(finding);
}

// What standard error says beside a report for programs.
void printNotes(const Options& options, const Finding& finding) {
  printFailures(finding.snapshot);
  if (options.output == Output::DETAILS) return;  // they have these
  for (const Note& note : inputNotes(finding)) printError(note.label + ": " + note.text);
}

// Returns the exit status.
int run(const Options& options) {
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
