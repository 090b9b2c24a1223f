// Compares docs/status-words.md with the explanations that it is generated from.

#include "tests/pages/status_words_page.h"

#include <fstream>
#include <iterator>

#include <gtest/gtest.h>

namespace egress::test {
namespace {

TEST(StatusWordsPage, IsTheOneGeneratedFromTheExplanations) {
  std::ifstream file(EGRESS_SOURCE_DIR "/docs/status-words.md");
  const std::string page{std::istreambuf_iterator<char>(file), {}};
  EXPECT_TRUE(page == statusWordsPage())
      << "the explanations have changed; to make the page anew:\n  "
         "build/test/tests/egress_print_status_words_page >docs/status-words.md";
}

}  // namespace
}  // namespace egress::test
