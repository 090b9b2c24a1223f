// egress-report: diagnoses this machine or a saved snapshot.

#include <algorithm>
#include <array>
#include <fstream>
#include <iostream>
#include <string>
#include <sys/stat.h>
#include <vector>

#include "egress/egress.h"
#include "examples/linux-host/anonymize.h"
#include "examples/linux-host/errors.h"
#include "examples/linux-host/explain.h"
#include "examples/linux-host/live_snapshot.h"
#include "examples/linux-host/options.h"
#include "examples/linux-host/report_json.h"
#include "examples/linux-host/snapshot_file.h"
#include "examples/linux-host/text.h"

namespace linux_host {
namespace {

void printError(const std::string& text) {
  std::cerr << "egress-report: " << printable(text) << '\n';
}

std::string readAll(std::istream& stream, const std::string& option, const std::string& path) {
  std::string text;
  std::array<char, 65536> part{};
  do {
    stream.read(part.data(), part.size());
    text.append(part.data(), static_cast<std::size_t>(stream.gcount()));
  } while (stream);
  if (!stream.eof()) throw CannotRun(withSystemError(option + ": cannot read '" + path + "'"));
  return text;
}

std::string readFile(const std::string& option, const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return readAll(file, option, path);
}

// Readable only by the owner: a snapshot contains addresses.
void writeFile(const std::string& option, const std::string& path, const std::string& text) {
  umask(S_IRWXG | S_IRWXO);
  std::ofstream file(path, std::ios::binary);
  file << text;
  file.close();
  if (!file) throw CannotRun(withSystemError(option + ": cannot write '" + path + "'"));
}

void readConfig(const std::string& path, egress::DiagnosisInput& input) {
  const std::string text =
      path == "-" ? readAll(std::cin, "--config", "standard input") : readFile("--config", path);
  egress::setProxyConfig(input, egress::readProxyConfig(text, /*hasText=*/true));
}

// Inserts the answers before those of the snapshot: the first answer for a selector is used.
void readAnswers(const std::vector<AnswerOption>& options, egress::DiagnosisInput& input) {
  std::vector<egress::SelectorAnswer> answers;
  for (const AnswerOption& option : options) {
    egress::SelectorAnswer& answer = answers.emplace_back();
    answer.selectorTag = option.selectorTag;
    answer.status =
        option.path ? egress::readSelectorAnswer(readFile("--answer", *option.path), &answer.now)
                    : egress::SelectorAnswerStatus::TransportFailed;
  }
  input.selectorAnswers.insert(input.selectorAnswers.begin(), answers.begin(), answers.end());
}

egress::DiagnosisInput readSnapshot(const std::string& path) {
  const std::string text = readFile("--snapshot", path);
  try {
    return readSnapshotText(text);
  } catch (const CannotRun& error) {
    throw CannotRun("--snapshot: " + path + ": " + error.what());
  }
}

NamesByOrdinal namesByOrdinal(const LiveNotes& notes, const egress::Diagnosis& diagnosis) {
  NamesByOrdinal names;
  for (const egress::DiagnosedInterface& row : diagnosis.interfaces) {
    const auto name = notes.interfaceNames.find(row.interfaceIndex);
    if (name != notes.interfaceNames.end()) names[row.ordinal] = name->second;
  }
  return names;
}

// Warns about answers for a tag that no outbound has, probably a misspelt one.
void warnUnknownTags(const Options& options, const egress::DiagnosisInput& input) {
  for (const AnswerOption& option : options.answers) {
    const auto outbound =
        std::ranges::find(input.outbounds, option.selectorTag, &egress::Outbound::tag);
    if (outbound == input.outbounds.end()) {
      printError("--answer: the configuration has no outbound tagged '" + option.selectorTag + "'");
    }
  }
}

egress::DiagnosisInput readInput(const Options& options, LiveNotes& notes) {
  egress::DiagnosisInput input;
  if (options.snapshotPath) {
    input = readSnapshot(*options.snapshotPath);
  } else {
    notes = takeLiveSnapshots(options.processes.value(), input);
  }
  if (options.configPath) readConfig(*options.configPath, input);
  readAnswers(options.answers, input);
  if (options.hint) input.selectorHint = *options.hint;
  warnUnknownTags(options, input);
  return input;
}

bool hasAnswer(const egress::Diagnosis& diagnosis) {
  using enum egress::SelectionStatus;
  const egress::SelectionStatus status = diagnosis.selection.status;
  return status == OK || status == NOT_APPLICABLE_OS_ROUTED;
}

// Returns the exit status.
int run(const Options& options) {
  LiveNotes notes;
  const egress::DiagnosisInput input = readInput(options, notes);
  for (const std::string& failure : notes.failures) printError(failure);
  const egress::Diagnosis diagnosis = egress::diagnose(input);
  const egress::EgressReport report = egress::writeReport(diagnosis);
  if (options.saveSnapshotPath) {
    writeFile("--save-snapshot", *options.saveSnapshotPath,
              snapshotText(options.anonymize ? anonymized(input) : input));
  }
  std::cout << (options.explain ? explain(report, namesByOrdinal(notes, diagnosis))
                                : reportJson(report) + '\n');
  return hasAnswer(diagnosis) ? 0 : 1;
}

}  // namespace
}  // namespace linux_host

int main(int argc, char** argv) {
  // While synchronised with stdio, std::cin reports a read error as end of file.
  std::ios::sync_with_stdio(false);
  try {
    const auto options = linux_host::readOptions(argc, argv);
    const int status = options ? linux_host::run(*options) : 0;
    if (!std::cout.flush()) {
      throw linux_host::CannotRun(linux_host::withSystemError("cannot write to standard output"));
    }
    return status;
  } catch (const std::exception& error) {
    linux_host::printError(error.what());
    return 2;
  }
}
