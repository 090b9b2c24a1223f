#ifndef EGRESS_REPORT_SENTENCE_H
#define EGRESS_REPORT_SENTENCE_H

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "apps/report/finding.h"

namespace egress::report {

// The answer in one sentence, and one thing to do if it is not the normal case. The sentence begins
// with the interfaces, or with what it is about, and a colon.
struct Sentence {
  std::string text;
  std::string todo;  // empty: nothing
};

[[nodiscard]] Sentence sentenceFor(const Finding& finding);

// The remote end as text, for example "203.0.113.5:443" or "[2001:db8::5]:443".
[[nodiscard]] std::string endText(std::string_view address, std::uint32_t port);

// The endpoint as the configuration has it. The diagnosis has one.
[[nodiscard]] std::string endpointText(const Finding& finding);

// For example "wan0, wan1 and wan2".
[[nodiscard]] std::string namesOf(const Finding& finding,
                                  const std::vector<std::uint32_t>& interfaces);

}  // namespace egress::report

#endif
