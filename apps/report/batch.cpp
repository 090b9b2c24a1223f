#include "apps/report/batch.h"

#include <cstddef>
#include <filesystem>
#include <iostream>
#include <new>
#include <stdexcept>
#include <string>
#include <system_error>
#include <thread>
#include <unistd.h>
#include <utility>
#include <vector>

#include "apps/report/files.h"
#include "apps/report/finding.h"
#include "apps/report/input.h"
#include "apps/report/ordered_work.h"
#include "apps/report/rights.h"
#include "apps/report/snapshot_files.h"
#include "apps/report/text.h"
#include "egress/core/write_report.h"
#include "egress_snapshot/details_json.h"
#include "egress_snapshot/diagnose_snapshot.h"
#include "egress_snapshot/report_json.h"

namespace egress::report {
namespace {

void checkOptions(const Options& options) {
  if (options.output == Output::EXPLAINED) {
    throw CannotRun("--explain: explains one snapshot; many are printed as JSON");
  }
  if (options.saveSnapshotPath) throw CannotRun("--save-snapshot: saves only one snapshot");
  if (options.htmlPath) throw CannotRun("--html: shows only one snapshot");
  if (options.asksSystemForNames) {
    throw CannotRun("--resolve: 'system' is for one snapshot; give NAME=ADDRESS");
  }
}

// What applies to each snapshot.
struct Common {
  Options options;
  InputTexts texts;
};

// The files that every snapshot needs, and the list of their paths.
struct BatchTexts {
  Common common;
  std::string list;  // empty unless the options name one
};

BatchTexts readBatchTexts(const Options& options) {
  BatchTexts read;
  read.common.options = options;
  read.common.options.snapshotPath.reset();
  read.common.texts = readTexts(read.common.options);
  if (options.snapshotListPath) {
    const InputFile file{"--snapshots-from", *options.snapshotListPath,
                         options.maxFileSize.value_or(kMaxSnapshotSize)};
    read.list = textOf(file);
  }
  return read;
}

std::vector<std::string> givenPaths(const Options& options) {
  if (options.snapshotPath) return {*options.snapshotPath};
  return options.snapshotPaths;
}

std::string lineOf(const Common& common, const std::string& path) {
  Options options = common.options;
  options.snapshotPath = path;
  InputTexts texts = common.texts;
  texts.snapshot = readFile({.option = "--snapshot",
                             .path = path,
                             .maxSize = options.maxFileSize.value_or(kMaxSnapshotSize),
                             .mustBeRegular = true});
  const snapshot::HostSnapshot snapshot = parseInput(options, {}, texts);
  auto addresses = diagnoseAddresses(snapshot, options.counted);
  crossCheckAddresses(snapshot, addresses, options.counted);
  constexpr auto kLayout = snapshot::JsonLayout::ONE_LINE;
  if (options.output == Output::REPORT) {
    return reportToJson(writeReport(addresses.front().diagnosis), kLayout) + '\n';
  }
  return detailsToJson(snapshot, addresses, kLayout, path) + '\n';
}

// Memory may also run out while the error is written down.
WorkResult resultOf(const Common& common, const std::string& path) {
  try {
    try {
      return {.output = lineOf(common, path), .error = {}};
    } catch (const CannotRun& error) {
      return {.output = {}, .error = error.what()};
    }
  } catch (const std::bad_alloc&) {
  } catch (const std::length_error&) {
  }
  return {.output = {}, .error = {}, .isOutOfMemory = true};
}

// "N of M" on a terminal, unless the results appear there, too.
class Progress {
 public:
  explicit Progress(std::size_t total)
      : total_(std::to_string(total)),
        isShown_(isatty(STDERR_FILENO) != 0 && isatty(STDOUT_FILENO) == 0) {}
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;
  ~Progress() { clear(); }

  void show(std::size_t done) {
    if (!isShown_) return;
    shown_ = std::to_string(done) + " of " + total_;
    std::cerr << '\r' + shown_;
  }

  void clear() {
    if (shown_.empty()) return;
    std::cerr << '\r' + std::string(shown_.size(), ' ') + '\r';
    shown_.clear();
  }

 private:
  std::string total_;
  std::string shown_;
  bool isShown_;
};

// Returns whether all were diagnosed and printed.
bool printAll(const Common& common, const std::vector<std::string>& paths) {
  Progress progress(paths.size());
  bool hasAll = true;
  const auto produce = [&](std::size_t number) { return resultOf(common, paths[number]); };
  const auto take = [&](std::size_t number, const WorkResult& result) {
    std::cout << result.output;
    if (result.output.empty()) {
      hasAll = false;
      progress.clear();
      const std::string noMemory = failureOf({"--snapshot", paths[number]}) + ": not enough memory";
      printError(result.isOutOfMemory ? noMemory : result.error);
    }
    progress.show(number + 1);
    return std::cout.good();
  };
  runOrdered({.count = paths.size(), .produce = produce, .take = take},
             std::thread::hardware_concurrency());
  return hasAll;
}

}  // namespace

bool isBatch(const Options& options) {
  if (!options.snapshotPaths.empty() || options.snapshotListPath) return true;
  if (!options.snapshotPath || *options.snapshotPath == kStandardStream) return false;
  if (!isCalledByRoot()) dropRights();
  std::error_code error;
  return std::filesystem::is_directory(*options.snapshotPath, error);
}

int diagnoseBatch(const Options& options) {
  checkOptions(options);
  if (!isCalledByRoot()) dropRights();
  const BatchTexts texts = readBatchTexts(options);
  // Before the first byte is parsed, and before a thread starts: each thread has rights of its own.
  if (isCalledByRoot()) dropRights();
  SnapshotFiles files = options.snapshotListPath
                            ? SnapshotFiles{.paths = linesOf(texts.list), .errors = {}}
                            : filesAt(givenPaths(options));
  for (const std::string& error : files.errors) printError(error);
  if (files.paths.empty()) printError("there is no snapshot to diagnose");
  const bool hasAll = printAll(texts.common, files.paths) && files.errors.empty();
  return static_cast<int>(hasAll ? Outcome::NAMED : Outcome::CANNOT_RUN);
}

}  // namespace egress::report
