#ifndef EGRESS_EXAMPLES_LINUX_HOST_OPTIONS_H
#define EGRESS_EXAMPLES_LINUX_HOST_OPTIONS_H

#include <optional>
#include <string>
#include <vector>

#include "examples/linux-host/processes.h"

namespace linux_host {

// The source of a selector's answer.
struct AnswerOption {
  std::string selectorTag;
  std::optional<std::string> path;  // none: the engine did not answer
};

struct Options {
  std::optional<std::string> configPath;  // "-": standard input
  std::vector<AnswerOption> answers;
  std::optional<std::string> hint;
  std::optional<ProcessChoice> processes;  // set unless snapshotPath is
  std::optional<std::string> snapshotPath;
  std::optional<std::string> saveSnapshotPath;
  bool anonymize = false;
  bool explain = false;
};

// Parses the command line. Prints --help or --version itself and then returns nothing. Throws
// CannotRun if an option is invalid.
[[nodiscard]] std::optional<Options> readOptions(int argumentCount, const char* const* arguments);

}  // namespace linux_host

#endif
