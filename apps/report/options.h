#ifndef EGRESS_REPORT_OPTIONS_H
#define EGRESS_REPORT_OPTIONS_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "egress_live/ask_engine.h"
#include "egress_live/take_snapshot.h"
#include "egress_snapshot/host_snapshot.h"

namespace egress::report {

// The source of a selector's answer.
struct AnswerOption {
  std::string selectorTag;
  std::optional<std::string> path;  // none: the engine did not answer
};

enum class Output : std::uint8_t {
  TEXT,       // for people
  EXPLAINED,  // with every word of the report explained
  REPORT,     // as JSON, without names and addresses
  DETAILS,    // as JSON
};

struct Options {
  // A path of "-" is standard input or output; at most one reads it.
  std::optional<std::string> configPath;
  bool isStrict = false;  // only JSON is read as a configuration
  std::string mainTag;    // empty: the core's start tag, or that of the snapshot
  std::vector<AnswerOption> answers;
  std::optional<std::string> answersPath;
  std::optional<std::string> hint;
  std::optional<live::EngineAccess> access;  // without what the next two files contain
  std::optional<std::string> askHeaderPath;
  std::optional<std::string> askCaPath;
  std::vector<snapshot::ResolvedName> resolvedNames;
  bool asksSystemForNames = false;
  std::optional<live::ProcessChoice> processes;  // set unless there are snapshots
  std::optional<std::string> snapshotPath;       // the only one, or a folder of snapshots
  std::vector<std::string> snapshotPaths;        // if there are several
  std::optional<std::string> snapshotListPath;   // in place of both: of a list of paths
  std::optional<std::string> saveSnapshotPath;
  std::optional<std::string> htmlPath;
  std::optional<std::string> metricsPath;
  std::optional<std::uint64_t> maxFileSize;  // in bytes, in place of the default of each option
  std::optional<std::uint32_t> observeSeconds;
  std::optional<std::uint32_t> watchSeconds;  // between two rounds; none: diagnose once
  snapshot::CountedSockets counted = snapshot::CountedSockets::TCP;
  bool anonymize = false;           // the saved snapshot
  bool pageHasPrivateData = false;  // that of --html is not anonymized
  Output output = Output::TEXT;
};

// Parses the command line. Prints --help or --version itself and then returns nothing. Throws
// CannotRun if an option is invalid.
[[nodiscard]] std::optional<Options> readOptions(int argumentCount, const char* const* arguments);

}  // namespace egress::report

#endif
