#ifndef EGRESS_TESTS_LAWS_JSON_LAWS_H
#define EGRESS_TESTS_LAWS_JSON_LAWS_H

#include <string>
#include <string_view>
#include <vector>

#include "egress/json/json_value.h"
#include "tests/laws/choices.h"
#include "tests/laws/violation.h"

namespace egress::test {

struct JsonVerdict {
  Violation violation;
  bool accepted = false;
  bool strict = false;  // strict JSON (RFC 8259), without the extensions of the reader
};

// The reader accepts a text exactly if the oracle does, and gives the same tree for strict JSON.
// The tree of an accepted text is well-formed and survives a round trip through text. A rejected
// text does not change the caller's value.
JsonVerdict checkJsonText(std::string_view text);

// A text has a fault exactly if the reader rejects it. The text before the faulty byte is a prefix
// of an accepted text; with the faulty byte it is not. Only END_OF_TEXT has no faulty byte.
Violation checkFault(std::string_view text);

// Every proper prefix of an accepted object or array is rejected.
Violation checkPrefixes(std::string_view text);

// A document as tokens, and its expected tree.
struct GeneratedDocument {
  std::vector<std::string> tokens;
  JsonValue tree;
};

// Covers the grammar of the reader: all escapes and number forms, extensions to JSON, repeated
// keys, and values down to the maximum depth.
GeneratedDocument generateDocument(Choices& choices);

// The tokens without whitespace.
std::string textOf(const GeneratedDocument& document);

// A generated document gives its tree, with whitespace from `choices` between its tokens and
// without.
Violation checkGeneratedDocument(const GeneratedDocument& document, Choices& choices);

}  // namespace egress::test

#endif
