#ifndef EGRESS_EXAMPLES_LINUX_HOST_OPTIONS_H
#define EGRESS_EXAMPLES_LINUX_HOST_OPTIONS_H

#include <optional>
#include <string>
#include <vector>

#include "examples/linux-host/processes.h"

namespace linux_host {

// Where the answer of a selector is.
struct AnswerOption {
  std::string selectorTag;
  std::optional<std::string> path;  // none: the engine gave no answer
};

// What the command line asks for.
struct Options {
  std::optional<std::string> configPath;  // "-": standard input
  std::vector<AnswerOption> answers;
  std::optional<std::string> hint;
  std::optional<ProcessChoice> processes;  // given exactly when snapshotPath is not
  std::optional<std::string> snapshotPath;
  std::optional<std::string> saveSnapshotPath;
  bool anonymize = false;
  bool explain = false;
};

// The options, or nothing after --help or --version, which it prints. Throws CannotRun for options
// that are wrong.
[[nodiscard]] std::optional<Options> readOptions(int argumentCount, const char* const* arguments);

}  // namespace linux_host

#endif
