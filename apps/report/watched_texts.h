#ifndef EGRESS_REPORT_WATCHED_TEXTS_H
#define EGRESS_REPORT_WATCHED_TEXTS_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "apps/report/input.h"
#include "apps/report/options.h"

namespace egress::report {

// The contents of the files from round to round: a child reads them, and the process that starts
// the children keeps them without looking at them.

// The texts of the options' files before the first round, and how many they are.
struct WatchedTexts {
  InputTexts texts;
  bool areRead = false;
};

[[nodiscard]] std::size_t countOfTexts(const Options& options);

// The bytes that these files may have together, at most 2^48.
[[nodiscard]] std::uint64_t sizeLimitOfTexts(const Options& options);

// Reads all files for the first round, later those that are regular files: others, such as pipes,
// can be read only once. Returns for each file an empty text if it is as before, or "=" and its
// content. In the first round, throws CannotRun if a file cannot be read. Later, such a file
// keeps its content, and standard error gets a line.
[[nodiscard]] std::vector<std::string> readChanges(const Options& options, WatchedTexts& watched);

// Applies what readChanges() returned in another process.
void applyChanges(const Options& options, const std::vector<std::string>& changes,
                  WatchedTexts& watched);

}  // namespace egress::report

#endif
