#ifndef EGRESS_SNAPSHOT_EXPLANATIONS_H
#define EGRESS_SNAPSHOT_EXPLANATIONS_H

#include <optional>
#include <span>
#include <string_view>

#include "egress_snapshot/export.h"

namespace egress::snapshot {

// A small input with which the report or the cross-check has a word. An empty text is not part of
// it; the configuration and the answer take the place of those in the snapshot.
struct SmallestInput {
  std::string_view config = {};    // the engine's configuration
  std::string_view answer = {};    // of the selector tagged "proxy"
  std::string_view snapshot = {};  // a saved snapshot
};

// What a word of the report or the cross-check means to a person. Sentences in plain text; names of
// code stand between backquotes. The texts live until the process ends.
struct Explanation {
  std::string_view meaning;
  std::string_view usualCause;
  std::string_view whatToDo;
  SmallestInput smallestInput;
};

// The keys that have explanations, each with the question that its words answer: those of the
// report in its order, columns named "MEMBER[].COLUMN", and "crossCheck", the status of a
// CrossCheck.
struct ExplainedKey {
  std::string_view key;
  std::string_view question;
  std::optional<Explanation> (*explain)(std::string_view word);
};
[[nodiscard]] EGRESS_SNAPSHOT_EXPORT std::span<const ExplainedKey> explainedKeys() noexcept;

// The explanation of a word, or of "true" and "false", under one of these keys; nothing if there is
// no such key, or it has no such word. Throws only when memory runs out.
[[nodiscard]] EGRESS_SNAPSHOT_EXPORT std::optional<Explanation> explainWord(std::string_view key,
                                                                            std::string_view word);

}  // namespace egress::snapshot

#endif
