#ifndef EGRESS_EXAMPLES_LINUX_HOST_STATUS_WORDS_PAGE_H
#define EGRESS_EXAMPLES_LINUX_HOST_STATUS_WORDS_PAGE_H

#include <string>
#include <string_view>

namespace linux_host {

// docs/status-words.md, put into the program by the build, so that the words are explained in one
// place.
extern const std::string_view kStatusWordsPage;

// What the page says of a word under a key, without its marks of emphasis and code.
struct WordExplanation {
  std::string means;
  std::string usualCause;
  std::string whatToDo;
};

// Empty texts for a word that the page does not have.
[[nodiscard]] WordExplanation explainWord(std::string_view key, std::string_view word);

}  // namespace linux_host

#endif
