// Blanks what is not JSON in all short texts, in mutated texts, and in documents into which
// comments, commas and byte-order marks were inserted.

#include "tests/laws/blank_laws.h"

#include <cstddef>
#include <iostream>
#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include "tests/laws/every_text.h"
#include "tests/laws/mutate.h"
#include "tests/laws/random_rounds.h"

namespace egress::test {
namespace {

using namespace std::string_view_literals;

struct Counts {
  std::size_t texts = 0;
  std::size_t changed = 0;
  std::size_t repaired = 0;

  Violation count(const BlankVerdict& verdict) {
    ++texts;
    if (verdict.isChanged) ++changed;
    if (verdict.isRepaired) ++repaired;
    return verdict.violation;
  }

  void print() const {
    std::cout << texts << " texts, " << changed << " changed, " << repaired << " repaired\n";
  }
};

TEST(BlankLaws, HoldForEveryShortText) {
  Counts counts;
  for (const std::string_view bytes : {"[],/*\n1\"", "{}:,\"\\/ ", "/*\r\n,]1"}) {
    std::string text;
    forEveryText(bytes, 6, text, [&counts](const std::string& candidate) {
      ASSERT_EQ(counts.count(checkBlankedText(candidate)), "");
    });
  }
  counts.print();
  EXPECT_GT(counts.changed, counts.texts / 20);
  EXPECT_GT(counts.repaired, 100U);
}

TEST(BlankLaws, HoldForEveryShortTextAfterAByteOrderMark) {
  for (const std::string_view before : {"\xEF\xBB\xBF", "\xEF\xBB", " \xEF\xBB\xBF"}) {
    std::string text(before);
    forEveryText("\xEF\xBB\xBF/*,]1", 5, text, [](const std::string& candidate) {
      ASSERT_EQ(checkBlankedText(candidate).violation, "");
    });
  }
}

TEST(BlankLaws, HoldForMutatedTexts) {
  constexpr std::string_view kAlphabet = "//**,,\"\"\\[]{}:1 \r\n\t\f\0\xEF"sv;
  Counts counts;
  checkOnRandomBytes(50'000, 200, [&](std::string_view bytes) {
    Choices choices(bytes);
    std::string text = generateBlankableText(choices);
    for (std::size_t i = choices.below(4); i > 0; --i) mutate(text, kAlphabet, choices);
    return counts.count(checkBlankedText(text));
  });
  counts.print();
  EXPECT_GT(counts.changed, counts.texts / 2);
  EXPECT_GT(counts.repaired, counts.texts / 20);
}

// Each kind must be frequent, or the law shows little.
void expectEach(const InsertedParts& inserted, std::size_t least) {
  std::cout << inserted.byteOrderMarks << " byte-order marks, " << inserted.comments
            << " comments, " << inserted.trailingCommas << " commas\n";
  EXPECT_GT(inserted.byteOrderMarks, least);
  EXPECT_GT(inserted.comments, least);
  EXPECT_GT(inserted.trailingCommas, least);
}

TEST(BlankLaws, ADocumentWithInsertedPartsGivesItsTree) {
  InsertedParts inserted;
  checkOnRandomBytes(20'000, 200, [&inserted](std::string_view bytes) {
    Choices choices(bytes);
    return checkBlankedDocument(choices, inserted);
  });
  expectEach(inserted, 1'000);
}

TEST(BlankLaws, AConfigurationWithInsertedPartsGivesItsRecord) {
  InsertedParts inserted;
  checkOnRandomBytes(5'000, 1'000, [&inserted](std::string_view bytes) {
    Choices choices(bytes);
    return checkBlankedConfig(choices, inserted);
  });
  expectEach(inserted, 1'000);
}

}  // namespace
}  // namespace egress::test
