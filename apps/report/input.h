#ifndef EGRESS_REPORT_INPUT_H
#define EGRESS_REPORT_INPUT_H

#include <optional>
#include <string>
#include <vector>

#include "apps/report/options.h"
#include "egress_live/take_snapshot.h"
#include "egress_snapshot/host_snapshot.h"

namespace egress::report {

// The contents of the files that the options name.
struct InputTexts {
  std::optional<std::string> snapshot;
  std::optional<std::string> config;
  std::vector<std::string> answers;  // one for each answer of the options; empty if it has no file
};

// For example "process 1234, user 1000, /usr/bin/engine"; the program is left out if unknown.
[[nodiscard]] std::string processText(const snapshot::Process& process);

// Takes the snapshot of this machine. Throws CannotRun.
[[nodiscard]] snapshot::HostSnapshot takeLiveSnapshot(const live::ProcessChoice& choice);

// Reads all files without parsing a byte of them. Throws CannotRun.
[[nodiscard]] InputTexts readTexts(const Options& options);

struct ParsedInput {
  snapshot::HostSnapshot snapshot;
  std::string configFault;  // where the text of the configuration breaks off; empty: nowhere
};

// The input of the diagnosis: the snapshot that was taken, or the one in the texts, with the other
// texts and options in it. Warns on standard error about answers for tags that no selector has, and
// a hint that no outbound has. Throws CannotRun.
[[nodiscard]] ParsedInput parseInput(const Options& options, snapshot::HostSnapshot taken,
                                     InputTexts texts);

}  // namespace egress::report

#endif
