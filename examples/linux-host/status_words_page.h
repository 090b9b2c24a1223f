#ifndef EGRESS_EXAMPLES_LINUX_HOST_STATUS_WORDS_PAGE_H
#define EGRESS_EXAMPLES_LINUX_HOST_STATUS_WORDS_PAGE_H

#include <string>
#include <string_view>

namespace linux_host {

// The contents of docs/status-words.md, embedded by the build.
extern const std::string_view kStatusWordsPage;

// The explanation of a status word, without Markdown markup.
struct WordExplanation {
  std::string means;
  std::string usualCause;
  std::string whatToDo;
};

// Returns empty texts for a word that is not on the page.
[[nodiscard]] WordExplanation explainWord(std::string_view key, std::string_view word);

}  // namespace linux_host

#endif
