#include "apps/report/diagnose_once.h"

#include <iostream>
#include <optional>
#include <string>
#include <string_view>
#include <sys/stat.h>
#include <utility>
#include <variant>

#include "apps/report/engine_socket.h"
#include "apps/report/examine.h"
#include "apps/report/files.h"
#include "apps/report/finding.h"
#include "apps/report/html_page.h"
#include "apps/report/input.h"
#include "apps/report/look.h"
#include "apps/report/metrics.h"
#include "apps/report/output.h"
#include "apps/report/rights.h"
#include "apps/report/saved_file.h"
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

// Empty if nothing anonymous is asked for. Before the first byte is written: it may be refused.
std::optional<HostSnapshot> anonymousSnapshot(const Options& options,
                                              const HostSnapshot& snapshot) {
  if (!options.anonymize && (!options.htmlPath || options.pageHasPrivateData)) return std::nullopt;
  snapshot::Result<HostSnapshot> result = anonymized(snapshot);
  if (const auto* const refusal = std::get_if<snapshot::Refusal>(&result)) {
    throw CannotRun("cannot anonymize: " + toString(*refusal));
  }
  return std::get<HostSnapshot>(std::move(result));
}

// A file with a snapshot, which contains addresses.
std::optional<SavedFile> privateFile(const char* option, const std::optional<std::string>& path,
                                     const char* remedy) {
  if (!path || path == kStandardStream) return std::nullopt;
  constexpr mode_t kOwnerOnly = S_IRUSR | S_IWUSR;
  return std::optional<SavedFile>(
      std::in_place,
      OutputFile{.option = option, .path = *path, .mode = kOwnerOnly, .remedy = remedy});
}

std::optional<SavedFile> newMetrics(const Options& options) {
  if (!options.metricsPath) return std::nullopt;
  return std::optional<SavedFile>(std::in_place, metricsFile(*options.metricsPath));
}

// The file has the time of the last success, which this run may not be.
void saveMetrics(const Options& options, const Finding* finding, std::optional<SavedFile>& file) {
  if (!file) return;
  const MetricTimes times = metricTimes(*options.metricsPath, finding);
  file->save([&](const SavedFile::Sink& sink) { sink(metricsText(finding, times)); });
}

bool hasFailed(const std::optional<SavedFile>& file) {
  return file && file->hasFailed();
}

// Takes the snapshot. If there is no process, the metrics say so.
HostSnapshot look(const Options& options) {
  if (!options.processes) return {};
  try {
    return takeLiveSnapshot(*options.processes);
  } catch (const NoEngine&) {
    if (!isCalledByRoot()) dropRights();
    std::optional<SavedFile> metrics = newMetrics(options);
    saveMetrics(options, nullptr, metrics);
    throw;
  }
}

}  // namespace

int diagnoseOnce(const Options& options) {
  HostSnapshot taken = look(options);
  std::optional<live::PacketObserver> observer;
  if (options.observeSeconds) observer.emplace();
  // Another user than root reads and writes only what that user may, even if the program has file
  // capabilities to see the sockets. Root may name a file that only the engine's user can read, and
  // a folder of another user.
  if (!isCalledByRoot()) dropRights();
  InputTexts texts = readTexts(options);
  const HtmlPage emptyPage = options.htmlPath ? readHtmlPage() : HtmlPage();
  std::optional<SavedFile> saved =
      privateFile("--save-snapshot", options.saveSnapshotPath,
                  "; use '--save-snapshot -' and redirect standard output to it");
  std::optional<SavedFile> page = privateFile("--html", options.htmlPath, "");
  std::optional<SavedFile> metrics = newMetrics(options);
  // Root may ask where only the engine's user can connect.
  const Closed engine(isCalledByRoot() ? connectToEngine(options) : -1);
  // Before the first byte is parsed: strangers may have written the texts.
  if (isCalledByRoot()) dropRights();
  if (options.processes) printProcesses(*options.processes, taken);
  const Opened opened{.observer = observer ? &*observer : nullptr,
                      .engineSocket = engine.descriptor()};
  const Finding finding = examine(options, std::move(taken), std::move(texts), opened);
  const bool savesToOutput = options.saveSnapshotPath == kStandardStream;
  const bool showsInOutput = options.htmlPath == kStandardStream;
  const bool printsReport = !savesToOutput && !showsInOutput;
  if (options.output == Output::REPORT || options.output == Output::DETAILS || !printsReport) {
    printNotes(options, finding);
  }
  const std::optional<HostSnapshot> anonymous = anonymousSnapshot(options, finding.snapshot);
  const auto writeSaved = [&](const SavedFile::Sink& sink) {
    writeSnapshot(options.anonymize ? *anonymous : finding.snapshot, sink);
    sink("\n");
  };
  const auto writePage = [&](const SavedFile::Sink& sink) {
    writeHtmlPage(emptyPage, options.pageHasPrivateData ? finding.snapshot : *anonymous, sink);
  };
  if (saved) saved->save(writeSaved);
  if (page) page->save(writePage);
  saveMetrics(options, &finding, metrics);
  const auto print = [](std::string_view text) { std::cout << text; };
  if (savesToOutput) writeSaved(print);
  if (showsInOutput) writePage(print);
  if (printsReport) std::cout << outputText(options, finding);
  const bool isIncomplete = hasFailed(saved) || hasFailed(page) || hasFailed(metrics);
  return static_cast<int>(isIncomplete ? Outcome::CANNOT_RUN : outcomeOf(finding));
}

}  // namespace egress::report
