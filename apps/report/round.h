#ifndef EGRESS_REPORT_ROUND_H
#define EGRESS_REPORT_ROUND_H

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "apps/report/finding.h"
#include "apps/report/options.h"

namespace egress::report {

// What one round of watching gives. The process that prints it knows nothing about the texts.
struct Round {
  Outcome outcome = Outcome::CANNOT_RUN;
  std::string key;      // another one if what matters has changed
  std::string head;     // of the answer for people: interfaces, or what it is about
  std::string line;     // to print after a change: JSON, or the rest of the answer for people
  std::string notes;    // for people, lines
  std::string errors;   // for standard error, lines
  std::string metrics;  // to write into a file; empty: nothing
  std::vector<std::string> texts;  // of the files, as in watched_texts.h
};

// What the finding gives in the form that the options choose; the rest stays empty.
[[nodiscard]] Round roundOf(const Options& options, const Finding& finding);

// The round as bytes for a process of the same program.
[[nodiscard]] std::string packed(const Round& round);

// The inverse of packed(), with this number of texts; nothing if the bytes are no round. Allocates
// no more than the bytes.
[[nodiscard]] std::optional<Round> unpacked(std::string_view bytes, std::size_t textCount);

}  // namespace egress::report

#endif
