// Prints docs/status-words.md.

#include <iostream>

#include "tests/pages/status_words_page.h"

int main() {
  std::cout << egress::test::statusWordsPage();
}
