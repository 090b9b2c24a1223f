#ifndef EGRESS_TESTS_LAWS_BLANK_LAWS_H
#define EGRESS_TESTS_LAWS_BLANK_LAWS_H

#include <cstddef>
#include <string>
#include <string_view>

#include "tests/laws/choices.h"
#include "tests/laws/violation.h"

namespace egress::test {

struct BlankVerdict {
  Violation violation;
  bool isChanged = false;
  bool isRepaired = false;  // refused before, accepted after
};

// Blanking any bytes:
// - gives the text and the counts of a second, simple implementation, which keeps strings;
// - keeps the size and the line ends, and replaces bytes by blanks only;
// - changes nothing the second time;
// - changes no text that the JSON reader accepts;
// - gives a text that the reader accepts, or refuses at the same byte or a later one.
BlankVerdict checkBlankedText(std::string_view text);

// What was inserted into documents, to show that a test covers each.
struct InsertedParts {
  std::size_t byteOrderMarks = 0;
  std::size_t comments = 0;
  std::size_t trailingCommas = 0;
};

// A generated JSON document with such parts between its tokens.
std::string generateBlankableText(Choices& choices);

// A generated JSON document into which comments, blanks, commas and a byte-order mark were inserted
// between tokens gives its tree after blanking, and blankNonJson counts them. Adds their
// numbers to `inserted`.
Violation checkBlankedDocument(Choices& choices, InsertedParts& inserted);

// A generated configuration gives the same record, with these parts inserted and blanked, as
// without. Configurations that are not JSON are passed over.
Violation checkBlankedConfig(Choices& choices, InsertedParts& inserted);

}  // namespace egress::test

#endif
