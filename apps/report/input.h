#ifndef EGRESS_REPORT_INPUT_H
#define EGRESS_REPORT_INPUT_H

#include <optional>
#include <string>
#include <vector>

#include "apps/report/files.h"
#include "apps/report/options.h"
#include "egress_live/ask_engine.h"
#include "egress_snapshot/host_snapshot.h"

namespace egress::report {

// The contents of the files that the options name.
struct InputTexts {
  std::optional<std::string> snapshot;
  std::optional<std::string> config;
  std::vector<std::optional<std::string>> answers;  // one for each answer of the options
  std::optional<std::string> answersByTag;
  std::optional<std::string> askHeaders;
  std::optional<std::string> askCa;
};

// A file that the options name, and where its content belongs.
struct NamedText {
  InputFile file;
  std::optional<std::string>* text;
};

// All files of the options, always in the same order. The pointers are valid as long as `texts`.
[[nodiscard]] std::vector<NamedText> namedTexts(const Options& options, InputTexts& texts);

// Reads all files without parsing a byte of them. Throws CannotRun.
[[nodiscard]] InputTexts readTexts(const Options& options);

// The input of the diagnosis: the snapshot that was taken, or the one in the texts, with the other
// texts and options in it. Blanks in the configuration's text what is not JSON. Throws CannotRun.
[[nodiscard]] snapshot::HostSnapshot parseInput(const Options& options,
                                                snapshot::HostSnapshot taken, InputTexts& texts);

// Warns on standard error about answers for tags that no selector has, a hint that no outbound has,
// and names that no server has.
void warnUnused(const Options& options, const snapshot::HostSnapshot& snapshot);

// How the engine is asked, with what the texts contain and a socket that is connected to it, or -1.
// Throws CannotRun.
[[nodiscard]] live::EngineAccess accessOf(const Options& options, const InputTexts& texts,
                                          int connectedSocket);

}  // namespace egress::report

#endif
