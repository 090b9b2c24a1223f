#ifndef EGRESS_REPORT_NOTES_H
#define EGRESS_REPORT_NOTES_H

#include <string>
#include <vector>

#include "apps/report/finding.h"

namespace egress::report {

// One thing to know, for people.
struct Note {
  std::string label;  // one word
  std::string text;   // readable
};

// What was done to the input before it was diagnosed, and how the engine's process was found.
[[nodiscard]] std::vector<Note> inputNotes(const Finding& finding);

}  // namespace egress::report

#endif
