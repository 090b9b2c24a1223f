#ifndef EGRESS_TESTS_PAGES_STATUS_WORDS_PAGE_H
#define EGRESS_TESTS_PAGES_STATUS_WORDS_PAGE_H

#include <string>

namespace egress::test {

// The text of docs/status-words.md, from the explanations of the words.
std::string statusWordsPage();

}  // namespace egress::test

#endif
