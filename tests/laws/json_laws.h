#ifndef EGRESS_TESTS_LAWS_JSON_LAWS_H
#define EGRESS_TESTS_LAWS_JSON_LAWS_H

#include <string>
#include <string_view>
#include <vector>

#include "egress/json/json_value.h"
#include "tests/laws/choices.h"
#include "tests/laws/complaint.h"

namespace egress::test {

struct JsonVerdict {
  Complaint complaint;
  bool accepted = false;
  bool strict = false;  // JSON by RFC 8259, too, and not only by the reader's leniencies
};

// The reader and nlohmann/json agree: on the verdict for any text, once what the reader forgives is
// written as strict JSON and too deep a nesting is refused, and on the tree of a strict text. An
// accepted text's tree has a sound shape and, written down, is read as the same again; a refused
// text leaves the caller's value alone.
JsonVerdict judgeJsonText(std::string_view text);

// A text has a fault exactly when the reader refuses it. The text before the faulty byte can be
// continued to an accepted one, the text including it cannot; at END_OF_TEXT, and only there, there
// is no faulty byte.
Complaint judgeFault(std::string_view text);

// Every proper prefix of an accepted object or array is refused.
Complaint judgeCuts(std::string_view text);

// A document as its tokens, and the tree that must be read from them.
struct GeneratedDocument {
  std::vector<std::string> tokens;
  JsonValue tree;
};

// Made by the reader's own grammar: every form of escape and number, leniencies, repeated keys, and
// values down to the deepest level.
GeneratedDocument generateDocument(Choices& choices);

// Its tokens with nothing between them.
std::string textOf(const GeneratedDocument& document);

// A generated document is read as its tree, with blanks between its tokens or without; `choices`
// draws the blanks.
Complaint judgeGeneratedDocument(const GeneratedDocument& document, Choices& choices);

}  // namespace egress::test

#endif
