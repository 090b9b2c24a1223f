// egress-report: diagnoses this machine or a saved snapshot.

#include <algorithm>
#include <iostream>
#include <string>
#include <vector>

#include "apps/report/explain.h"
#include "apps/report/files.h"
#include "apps/report/options.h"
#include "apps/report/text.h"
#include "egress/egress.h"
#include "egress_live/take_snapshot.h"
#include "egress_snapshot/anonymize.h"
#include "egress_snapshot/report_json.h"
#include "egress_snapshot/snapshot_json.h"

namespace egress::report {
namespace {

using snapshot::HostSnapshot;

void printError(const std::string& text) {
  std::cerr << "egress-report: " << printable(text) << '\n';
}

HostSnapshot readSnapshot(const std::string& path) {
  snapshot::Result<HostSnapshot> read = snapshot::snapshotFromJson(readFile("--snapshot", path));
  if (const auto* const refusal = std::get_if<snapshot::Refusal>(&read)) {
    throw CannotRun("--snapshot: " + path + ": " + toString(*refusal));
  }
  return std::get<HostSnapshot>(std::move(read));
}

HostSnapshot takeLiveSnapshot(const live::ProcessChoice& choice) {
  auto taken = live::takeSnapshot(choice);
  const auto* const none = std::get_if<live::NoProcess>(&taken);
  if (none == nullptr) return std::get<HostSnapshot>(std::move(taken));
  const auto* const process = std::get_if<std::uint32_t>(&choice);
  std::string message = process == nullptr ? "--process: " : "--pid: ";
  message.append(none->message);
  if (none->reason == live::NoProcessReason::OTHER_NETWORK) {
    message.append("; use nsenter --net --target ")
        .append(std::to_string(*process))
        .append(" egress-report ...");
  }
  throw CannotRun(message);
}

// Inserts the answers before those of the snapshot: the first answer for a selector is used.
void readAnswers(const std::vector<AnswerOption>& options, HostSnapshot& snapshot) {
  std::vector<SelectorAnswer> answers;
  for (const AnswerOption& option : options) {
    SelectorAnswer& answer = answers.emplace_back();
    answer.selectorTag = option.selectorTag;
    answer.status = option.path
                        ? readSelectorAnswer(readFile("--answer", *option.path), &answer.now)
                        : SelectorAnswerStatus::TransportFailed;
  }
  snapshot.selectorAnswers.insert(snapshot.selectorAnswers.begin(), answers.begin(), answers.end());
}

// Warns about answers for a tag that no outbound has, probably a misspelt one.
void warnUnknownTags(const Options& options, const HostSnapshot& snapshot) {
  const std::vector<Outbound>& outbounds = snapshot.config.outbounds;
  for (const AnswerOption& option : options.answers) {
    if (std::ranges::find(outbounds, option.selectorTag, &Outbound::tag) == outbounds.end()) {
      printError("--answer: the configuration has no outbound tagged '" + option.selectorTag + "'");
    }
  }
}

HostSnapshot readInput(const Options& options) {
  HostSnapshot snapshot = options.snapshotPath ? readSnapshot(*options.snapshotPath)
                                               : takeLiveSnapshot(options.processes.value());
  if (!options.snapshotPath) {
    snapshot.origin.program = "egress-report";
    snapshot.origin.programVersion = kVersion;
  }
  if (options.configPath) {
    snapshot.config = readProxyConfig(readFile("--config", *options.configPath), /*hasText=*/true);
  }
  readAnswers(options.answers, snapshot);
  if (options.hint) snapshot.selectorHint = *options.hint;
  warnUnknownTags(options, snapshot);
  return snapshot;
}

template <typename Row>
void printFailure(const char* name, const snapshot::SnapshotList<Row>& list) {
  if (!list.failureReason.empty()) printError(std::string(name) + ": " + list.failureReason);
}

std::string savedText(const Options& options, const HostSnapshot& snapshot) {
  if (!options.anonymize) return snapshotToJson(snapshot) + '\n';
  const snapshot::Result<HostSnapshot> result = anonymized(snapshot);
  if (const auto* const refusal = std::get_if<snapshot::Refusal>(&result)) {
    throw CannotRun("--anonymize: " + toString(*refusal));
  }
  return snapshotToJson(std::get<HostSnapshot>(result)) + '\n';
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
  const HostSnapshot snapshot = readInput(options);
  printFailure("sockets", snapshot.sockets);
  printFailure("adapters", snapshot.adapters);
  printFailure("routes", snapshot.routes);
  const Diagnosis diagnosis = diagnose(toInput(snapshot));
  if (options.saveSnapshotPath == kStandardStream) {
    std::cout << savedText(options, snapshot);
  } else {
    if (options.saveSnapshotPath) {
      writeFile("--save-snapshot", *options.saveSnapshotPath, savedText(options, snapshot));
    }
    std::cout << reportText(options, snapshot, diagnosis);
  }
  return hasAnswer(diagnosis) ? 0 : 1;
}

}  // namespace
}  // namespace egress::report

int main(int argc, char** argv) {
  namespace report = egress::report;
  // While synchronised with stdio, std::cin reports a read error as end of file.
  std::ios::sync_with_stdio(false);
  try {
    const auto options = report::readOptions(argc, argv);
    const int status = options ? report::run(*options) : 0;
    if (!std::cout.flush()) {
      throw report::CannotRun(report::withSystemError("cannot write to standard output"));
    }
    return status;
  } catch (const std::exception& error) {
    report::printError(error.what());
    return 2;
  }
}
